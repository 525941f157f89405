// Failures that are noted while a program runs, for its exit status.
#pragma once

#include "rlib/String.h"

namespace rlib {

/// Failures of the whole process that its exit status has to tell. Any thread, any time.
void NoteInputFailure();
void NoteOutputFailure();
bool AnyFailureNoted();
/// For tests.
void ResetNotedFailures();

/// An input that could not be used: the line goes to the error log and to stdErr, and is noted as an input
/// failure.
void ReportInputError(const String& line);

} // namespace rlib
