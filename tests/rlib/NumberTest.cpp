#include "rlib/Number.h"

#include <gtest/gtest.h>

namespace {

TEST(Number, ParsesWholeDecimalIntegers) {
  const struct {
    const char* text;
    int32_t value;
  } rows[] = {{"0", 0},   {"5", 5},
              {"-5", -5}, {"+5", 5},
              {"007", 7}, {"2147483647", 2147483647},
              {"-0", 0},  {"-2147483648", -2147483647 - 1}};
  for (const auto& row : rows) {
    int32_t value = 99;
    EXPECT_TRUE(rlib::ParseInt32(row.text, value)) << row.text;
    EXPECT_EQ(value, row.value);
  }
}

TEST(Number, RefusesEverythingElseAndKeepsTheValue) {
  int32_t value = 99;
  for (const char* text : {"", " ", "+", "-", "+-5", "--5", "++5", " 5", "5 ", "5x", "0x10", "1e3", "1.0",
                           "2147483648", "-2147483649", "99999999999999999999"}) {
    EXPECT_FALSE(rlib::ParseInt32(text, value)) << text;
    EXPECT_EQ(value, 99);
  }
  EXPECT_FALSE(rlib::ParseInt32(std::string_view("5\0", 2), value));
}

TEST(Number, ParsesFiniteDoublesOnly) {
  double value = 99;
  EXPECT_TRUE(rlib::ParseDouble("2.5", value));
  EXPECT_EQ(value, 2.5);
  EXPECT_TRUE(rlib::ParseDouble("-1e3", value));
  EXPECT_EQ(value, -1000);
  EXPECT_TRUE(rlib::ParseDouble("+0.5", value));
  EXPECT_EQ(value, 0.5);
  for (const char* text : {"", "inf", "nan", "-inf", "1e999", "0x1p3", "1,5", " 1", "1 ", "1.5s", "+-1"}) {
    EXPECT_FALSE(rlib::ParseDouble(text, value)) << text;
    EXPECT_EQ(value, 0.5);
  }
}

} // namespace
