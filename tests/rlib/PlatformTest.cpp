#include "rlib/Platform.h"

#include <gtest/gtest.h>

namespace {

TEST(Platform, NamesThePlatforms) {
  EXPECT_EQ(rlib::Platform::Name(0), "Windows");
  EXPECT_EQ(rlib::Platform::Name(1), "Linux");
  EXPECT_EQ(rlib::Platform::Name(2), "Mac");
  EXPECT_EQ(rlib::Platform::Name(rlib::Platform::k_LocalPlatform), "Linux");
}

TEST(Platform, UnknownOnesAreTheirNumber) {
  EXPECT_EQ(rlib::Platform::Name(3), "3");
  EXPECT_EQ(rlib::Platform::Name(-1), "-1");
}

} // namespace
