#include "rlib/Number.h"

#include <gtest/gtest.h>

namespace {

TEST(Number, ParsesWholeDecimalIntegers) {
  const struct {
    const char* m_Text;
    int32_t m_Value;
  } rows[] = {{"0", 0},   {"5", 5},
              {"-5", -5}, {"+5", 5},
              {"007", 7}, {"2147483647", 2147483647},
              {"-0", 0},  {"-2147483648", -2147483647 - 1}};
  for (const auto& row : rows)
    EXPECT_EQ(rlib::ParseInt32(row.m_Text), row.m_Value) << row.m_Text;
}

TEST(Number, RefusesEverythingElse) {
  for (const char* text : {"", " ", "+", "-", "+-5", "--5", "++5", " 5", "5 ", "5x", "0x10", "1e3", "1.0",
                           "2147483648", "-2147483649", "99999999999999999999"})
    EXPECT_EQ(rlib::ParseInt32(text), std::nullopt) << text;
  EXPECT_EQ(rlib::ParseInt32(std::string_view("5\0", 2)), std::nullopt);
}

TEST(Number, ParsesFiniteDoublesOnly) {
  EXPECT_EQ(rlib::ParseDouble("2.5"), 2.5);
  EXPECT_EQ(rlib::ParseDouble("-1e3"), -1000);
  EXPECT_EQ(rlib::ParseDouble("+0.5"), 0.5);
  for (const char* text : {"", "inf", "nan", "-inf", "1e999", "0x1p3", "1,5", " 1", "1 ", "1.5s", "+-1"})
    EXPECT_EQ(rlib::ParseDouble(text), std::nullopt) << text;
}

} // namespace
