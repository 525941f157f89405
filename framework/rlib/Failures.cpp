#include "rlib/Failures.h"

#include <atomic>

namespace rlib {
namespace {

constinit std::atomic<bool> s_Input{false};
constinit std::atomic<bool> s_Output{false};

} // namespace

void NoteInputFailure() {
  s_Input = true;
}

void NoteOutputFailure() {
  s_Output = true;
}

bool AnyFailureNoted() {
  return s_Input || s_Output;
}

void ResetNotedFailures() {
  s_Input = false;
  s_Output = false;
}

} // namespace rlib
