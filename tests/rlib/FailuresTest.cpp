#include "rlib/Failures.h"

#include <gtest/gtest.h>

namespace {

TEST(Failures, AreNotedUntilReset) {
  rlib::ResetNotedFailures();
  EXPECT_FALSE(rlib::AnyFailureNoted());
  rlib::NoteInputFailure();
  EXPECT_TRUE(rlib::AnyFailureNoted());
  rlib::ResetNotedFailures();
  rlib::NoteOutputFailure();
  EXPECT_TRUE(rlib::AnyFailureNoted());
  rlib::ResetNotedFailures();
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

} // namespace
