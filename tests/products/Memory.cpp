#include "Memory.h"

#include <cstdlib>

size_t g_TooMuchMemory = static_cast<size_t>(-1);

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return size < g_TooMuchMemory ? std::malloc(size == 0 ? 1 : size) : nullptr;
}

void* operator new(size_t size) {
  if (void* const memory = operator new(size, std::nothrow))
    return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
