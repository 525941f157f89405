// Version numbers, packed and as text.
#pragma once

#include "rlib/String.h"

namespace rlib {

/// A version number in 32 bits: 8 bits major, 8 bits minor, 16 bits patch.
constexpr unsigned PackVersion(unsigned major, unsigned minor, unsigned patch) {
  return (major & 0xffu) << 24 | (minor & 0xffu) << 16 | (patch & 0xffffu);
}

/// The packed version as dotted text: "1.2.3".
String VER_STRING(unsigned packed);

} // namespace rlib
