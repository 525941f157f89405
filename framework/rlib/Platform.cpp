#include "rlib/Platform.h"

#include "rlib/SFormat.h"

namespace rlib {

String Platform::Name(int platform) {
  static constexpr const char* names[] = {"Windows", "Linux", "Mac"};
  if (platform >= 0 && platform < static_cast<int>(std::size(names)))
    return names[platform];
  return SFormat("%d", platform);
}

} // namespace rlib
