#include "rlib/Result.h"

#include <memory>

#include <gtest/gtest.h>

using rlib::Failure;
using rlib::Result;
using rlib::String;

namespace {

Result<int> Half(int number) {
  if (number % 2 != 0)
    return Failure("it is odd");
  return number / 2;
}

Result<> RequireEven(int number) {
  if (const auto half = Half(number); !half)
    return half.Why();
  return {};
}

Result<std::unique_ptr<String>> Text() {
  return std::make_unique<String>("text");
}

} // namespace

TEST(Result, HoldsAValueOrTheReasonWhyThereIsNone) {
  EXPECT_TRUE(Half(4));
  EXPECT_EQ(*Half(4), 2);
  EXPECT_FALSE(Half(3));
  EXPECT_EQ(Half(3).Reason(), "it is odd");
}

TEST(Result, ThatIsFalseOrZeroIsAValueAllTheSame) {
  const Result<bool> no = false;
  EXPECT_TRUE(no);
  EXPECT_FALSE(*no);
  EXPECT_TRUE(Half(0));
}

TEST(Result, WithoutAValueIsDoneOrTellsWhyNot) {
  EXPECT_TRUE(RequireEven(2));
  EXPECT_FALSE(RequireEven(1));
  EXPECT_EQ(RequireEven(1).Reason(), "it is odd");
}

TEST(Result, GivesUpWhatItHolds) {
  auto text = Text();
  ASSERT_TRUE(text);
  EXPECT_EQ(**text, "text");
  const std::unique_ptr<String> taken = std::move(*text);
  EXPECT_EQ(*taken, "text");
}
