#include "rlib/Failures.h"

#include <atomic>

#include "rlib/Log.h"
#include "rlib/Stream.h"

namespace rlib {
namespace {

constinit std::atomic<bool> s_input{false};
constinit std::atomic<bool> s_output{false};

} // namespace

void NoteInputFailure() {
  s_input = true;
}

void NoteOutputFailure() {
  s_output = true;
}

bool AnyFailureNoted() {
  return s_input || s_output;
}

void ResetNotedFailures() {
  s_input = false;
  s_output = false;
}

void ReportInputError(const String& line) {
  LogError(line);
  stdErr.PutLine(line);
  NoteInputFailure();
}

} // namespace rlib
