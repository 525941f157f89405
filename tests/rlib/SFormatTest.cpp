#include "rlib/SFormat.h"

#include <climits>
#include <gtest/gtest.h>

using rlib::SFormat;
using rlib::String;

namespace {

TEST(SFormat, FormatsAsPrintfDoes) {
  // The C library's own printf is the measure.
  const auto check = [](const char* format, auto value) {
    char expected[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    snprintf(expected, sizeof(expected), format, value);
#pragma GCC diagnostic pop
    EXPECT_EQ(SFormat(format, value), expected) << format;
  };
  for (const char* format :
       {"%d",     "%i", "%5d|", "%-5d|", "%05d", "%+d", "% d", "%.3d", "%8.3d|", "%-8.3d|", "%+05d", "%.0d",
        "%08.3d", "%u", "%x",   "%X",    "%#x",  "%#X", "%#o", "%o",   "%08x",   "%#08x",   "%#.0o"})
    for (const int value : {0, 1, -1, 42, -42, INT_MAX, INT_MIN})
      check(format, value);
  for (const char* format : {"%f", "%.2f", "%10.3f|", "%-10.1f|", "%+f", "%e", "%E", "%g", "%G", "%#g", "%a",
                             "%A", "%010.2f", "% f", "%.0f", "%#.0f", "%F", "%.50f"})
    for (const double value : {0.0, 1.5, -2.25, 1e100, 1e-10, 123456789.125})
      check(format, value);
  for (const char* format : {"%s", "%5s|", "%-5s|", "%.2s", "%6.2s|", "%.0s", "%100s"})
    for (const char* value : {"", "a", "abc", "abcdefgh"})
      check(format, value);
  check("%lld", LLONG_MIN);
  check("%llu", ULLONG_MAX);
  check("%llx", -1LL);
  check("%c", 'x');
  check("%3c|", 'x');
  check("%c", 65);
}

struct Row {
  const char* m_Format;
  const char* m_Expected;
};

TEST(SFormat, WritesWhatItDoesNotUnderstandAsItStands) {
  const Row rows[] = {
      {"50%n%s%d", "50%n5%d"},
      {"%", "%"},
      {"100%", "100%"},
      {"%%", "%"},
      {"%%%d", "%5"},
      {"%*d", "%*d"},
      {"%.*d", "%.*d"},
      {"%1$d", "%1$d"},
      {"%n%d", "%n5"},
      {"%hhn", "%hhn"},
      {"%k %d", "%k 5"},
      {"%5%d", "%55"},
      {"%-", "%-"},
      {"%5.", "%5."},
      {"%ll", "%ll"},
      {"%' %d", "%' 5"},
      {"%4096d|%d", nullptr},
      {"%4097d", "%4097d"},
      {"%.4097d", "%.4097d"},
      {"%99999999999999999999d", "%99999999999999999999d"},
      {"%d %d", "5 %d"},
      {"%d %-08.3lld!", "5 %-08.3lld!"},
      {"%hhd %ld", "5 %ld"},
      {"", ""},
      {"no directive", "no directive"},
  };
  for (const Row& row : rows) {
    const String result = SFormat(row.m_Format, 5);
    if (row.m_Expected)
      EXPECT_EQ(result, row.m_Expected) << row.m_Format;
    else
      EXPECT_EQ(result, String(std::string(4095, ' ')) + "5|%d");
  }
  EXPECT_EQ(SFormat("%s%d%%"), "%s%d%");
}

TEST(SFormat, WritesArgumentsOfAnotherKindAsText) {
  EXPECT_EQ(SFormat("%d", "text"), "text");
  EXPECT_EQ(SFormat("%6d|%-6d|", "text", String("ab")), "  text|ab    |");
  EXPECT_EQ(SFormat("%s", 5), "5");
  EXPECT_EQ(SFormat("%4s|", -5), "  -5|");
  EXPECT_EQ(SFormat("%s", 1.5), "1.5");
  EXPECT_EQ(SFormat("%d", 1.5), "1.5");
  EXPECT_EQ(SFormat("%f", 5), "5");
  EXPECT_EQ(SFormat("%f", "x"), "x");
  EXPECT_EQ(SFormat("%s %s", true, false), "true false");
  EXPECT_EQ(SFormat("%d", true), "1");
  EXPECT_EQ(SFormat("%s", 'c'), "c");
  EXPECT_EQ(SFormat("%d", 'c'), "99");
  EXPECT_EQ(SFormat("%c", "word"), "word");
  EXPECT_EQ(SFormat("%p", 5), "5");
  EXPECT_EQ(SFormat("%x", "zz"), "zz");
}

TEST(SFormat, TakesEveryKindOfArgument) {
  enum class Colour : short { Red = 7 };
  EXPECT_EQ(SFormat("%s%s%s%s", "a", String("b"), std::string("c"), std::string_view("d")), "abcd");
  EXPECT_EQ(SFormat("%d", Colour::Red), "7");
  EXPECT_EQ(SFormat("%d %u", 4294967295u, 18446744073709551615ull), "4294967295 18446744073709551615");
  EXPECT_EQ(SFormat("%u", -1), "4294967295");
  EXPECT_EQ(SFormat("%x", static_cast<signed char>(-1)), "ff");
  EXPECT_EQ(SFormat("%f", 2.5f), "2.500000");
  EXPECT_EQ(SFormat("%s", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(SFormat("%p", reinterpret_cast<const void*>(0x1f)), "0x1f");
  EXPECT_EQ(SFormat("%s", String("a\0b", 3)).size(), 3u);
  EXPECT_EQ(SFormat("%.1e", 12345.0), "1.2e+04");
}

TEST(SFormat, ArgumentsThatLookLikeDirectivesStayText) {
  EXPECT_EQ(SFormat("%s:%d", "%d%n", 5), "%d%n:5");
}

} // namespace
