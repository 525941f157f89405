// What a crash leaves behind: a report with the open calls of all threads.
#pragma once

#include "rlib/Path.h"
#include "rlib/String.h"

namespace rlib {

/// From now on a fatal signal (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT) writes
/// <folder>/<application>.crash.<seconds since 1970>.<process>.txt with the signal and the open entries of
/// every thread; then the signal takes its default action. A signal that already has a handler (a
/// sanitizer's, say) is left alone. May be called again to change the folder; call it while no other thread
/// can crash.
void InstallCrashHandler(const Path& folder, const String& application);

} // namespace rlib
