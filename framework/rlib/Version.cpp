#include "rlib/Version.h"

#include "rlib/SFormat.h"

namespace rlib {

String VER_STRING(unsigned packed) {
  return SFormat("%u.%u.%u", packed >> 24, packed >> 16 & 0xffu, packed & 0xffffu);
}

} // namespace rlib
