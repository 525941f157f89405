#include "rlib/Platform.h"

#include "rlib/SFormat.h"

namespace rlib {

String Platform::Name(int platform) {
  static constexpr const char* k_Names[] = {"Windows", "Linux", "Mac"};
  if (platform >= 0 && platform < static_cast<int>(std::size(k_Names)))
    return k_Names[platform];
  return SFormat("%d", platform);
}

} // namespace rlib
