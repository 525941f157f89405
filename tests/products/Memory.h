// A process that runs out of memory.
#pragma once

#include <cstddef>
#include <new>

/// Allocations of at least so many bytes fail.
extern size_t g_TooMuchMemory;

/// Whether the call ends by an allocation of at least `size` bytes that fails.
template <typename Call>
bool RunsOutOfMemory(size_t size, Call call) {
  g_TooMuchMemory = size;
  bool failed = false;
  try {
    call();
  } catch (const std::bad_alloc&) {
    failed = true;
  }
  g_TooMuchMemory = static_cast<size_t>(-1);
  return failed;
}
