#include "rlib/String.h"

#include <gtest/gtest.h>
#include <map>
#include <unordered_set>

using rlib::String;

namespace {

/// Runs before main, in no particular order with the library's own initialisers.
const String s_EarlyText = String::Null + "early" + rlib::k_Empty;

TEST(String, NullAndEmptyAreUsableInStaticInitialisers) {
  EXPECT_EQ(s_EarlyText, "early");
  EXPECT_TRUE(String::Null.empty());
  EXPECT_TRUE(rlib::k_Empty.empty());
}

TEST(String, IsMadeFromEveryKindOfText) {
  EXPECT_EQ(String("abc").size(), 3u);
  EXPECT_EQ(String(std::string("abc")), "abc");
  EXPECT_EQ(String(std::string_view("abc")), "abc");
  EXPECT_EQ(String("abcdef", 3), "abc");
  EXPECT_EQ(String("a\0b", 3).size(), 3u);
  EXPECT_TRUE(String(static_cast<const char*>(nullptr)).empty());
}

TEST(String, Concatenates) {
  String text("a");
  text += "b";
  text += 'c';
  EXPECT_EQ(text, "abc");
  EXPECT_EQ("x" + text + "y", "xabcy");
  EXPECT_EQ(std::string("x") + text.str(), "xabc");
  EXPECT_EQ(text, "abc");
}

TEST(String, OrdersByUnsignedBytes) {
  EXPECT_LT(String("a"), String("b"));
  EXPECT_LT(String("a"), String("aa"));
  EXPECT_LT(String("z"), String("\xc3\xa4"));
  EXPECT_LT(String("A"), String("a"));
  EXPECT_NE(String("a"), String("a\0", 2));
}

TEST(String, ComparesIgnoringAsciiCaseOnly) {
  EXPECT_EQ(String("MaxJobs").CompareNoCase("mAXjOBS"), 0);
  EXPECT_LT(String("abc").CompareNoCase("ABD"), 0);
  EXPECT_GT(String("abcd").CompareNoCase("ABC"), 0);
  EXPECT_LT(String("").CompareNoCase("a"), 0);
  EXPECT_NE(String("\xc3\x84").CompareNoCase("\xc3\xa4"), 0);
  EXPECT_NE(String("[").CompareNoCase("{"), 0);
  EXPECT_LT(String("z").CompareNoCase("\xc3"), 0);
}

TEST(String, CaselessMapKeepsFirstSpelling) {
  std::map<String, int, String::ciless> map;
  map["MaxJobs"] = 1;
  map["maxjobs"] = 2;
  ASSERT_EQ(map.size(), 1u);
  EXPECT_EQ(map.begin()->first, "MaxJobs");
  EXPECT_EQ(map.begin()->second, 2);
}

TEST(String, BoolKnowsFourWordsInAnyCase) {
  for (const char* text : {"1", "true", "TRUE", "Yes", "on", "oN"})
    EXPECT_TRUE(String(text).Bool()) << text;
  for (const char* text : {"", "0", "2", "11", "true ", " 1", "y", "off", "enabled"})
    EXPECT_FALSE(String(text).Bool()) << text;
}

TEST(String, Hashes) {
  const std::unordered_set<String> set{"a", "b", "a"};
  EXPECT_EQ(set.size(), 2u);
}

} // namespace
