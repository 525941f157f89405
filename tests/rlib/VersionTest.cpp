#include "rlib/Version.h"

#include <gtest/gtest.h>

namespace {

TEST(Version, PackedVersionsAreShownDotted) {
  EXPECT_EQ(rlib::VER_STRING(rlib::PackVersion(1, 2, 3)), "1.2.3");
  EXPECT_EQ(rlib::VER_STRING(0), "0.0.0");
  EXPECT_EQ(rlib::VER_STRING(0xffffffffu), "255.255.65535");
  EXPECT_LT(rlib::PackVersion(1, 2, 65535), rlib::PackVersion(1, 3, 0));
}

} // namespace
