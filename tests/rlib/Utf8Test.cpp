#include "rlib/Utf8.h"

#include <gtest/gtest.h>

namespace {

TEST(Utf8, IsWhatTheStandardSays) {
  for (const char* good : {"", "a", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
                           "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
    EXPECT_TRUE(rlib::IsUtf8(good)) << testing::PrintToString(good);
  for (const char* bad :
       {"\x80", "\xc0\x80", "\xc1\xbf", "\xc2", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
        "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xe2\x82", "\xe2\x82x"})
    EXPECT_FALSE(rlib::IsUtf8(bad)) << testing::PrintToString(bad);
}

TEST(Utf8, CharactersAreReadOneByOne) {
  const auto first = [](const char* text) { return rlib::FirstCharacter(text)->m_Code; };
  EXPECT_EQ(first("ab"), U'a');
  EXPECT_EQ(first("\xc3\xa4x"), 0xe4u);
  EXPECT_EQ(first("\xe5\xa4\x9c"), 0x591cu);
  EXPECT_EQ(first("\xf0\x9f\x98\x80"), 0x1f600u);
  EXPECT_FALSE(rlib::FirstCharacter(""));
}

TEST(Utf8, SomeCharactersAreInvisible) {
  for (const char32_t hidden : {0x00u, 0x1fu, 0x7fu, 0x9fu, 0xa0u, 0xadu, 0x200bu, 0x200du, 0x200fu, 0x202eu,
                                0x202fu, 0x2028u, 0x2060u, 0x2066u, 0xfeffu, 0xe0041u})
    EXPECT_TRUE(rlib::IsInvisible(hidden)) << std::hex << static_cast<unsigned>(hidden);
  for (const char32_t shown : {0x20u, 0x7eu, 0xa1u, 0xe4u, 0x3000u, 0x591cu, 0x1f600u})
    EXPECT_FALSE(rlib::IsInvisible(shown)) << std::hex << static_cast<unsigned>(shown);
}

} // namespace
