#include "rlib/Failures.h"

#include <atomic>

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

} // namespace rlib
