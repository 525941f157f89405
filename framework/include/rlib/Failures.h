// Failures that are noted while a program runs, for its exit status.
#pragma once

#include "rlib/String.h"

namespace rlib {

/// Failures of the whole process that its exit status has to tell: an input that could not be used, an output
/// that could not be written. Noted beside the line that reports them (Report in Log.h). Any thread, any
/// time.
void NoteInputFailure();
void NoteOutputFailure();
bool AnyFailureNoted();
/// For tests.
void ResetNotedFailures();

} // namespace rlib
