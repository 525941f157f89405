// The platforms of a farm.
#pragma once

#include "rlib/String.h"

namespace rlib {

/// A platform is a number: 0 Windows, 1 Linux, 2 Mac.
class Platform {
public:
  static constexpr int k_LocalPlatform = 1;

  /// "Windows", "Linux", "Mac"; another number as its decimal text.
  static String Name(int platform);
};

} // namespace rlib
