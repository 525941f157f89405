#include "rlib/Failures.h"

#include <gtest/gtest.h>

#include "rlib/Log.h"
#include "rlib/Stream.h"

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

TEST(Failures, InputErrorsAreLoggedShownAndNoted) {
  rlib::ResetNotedFailures();
  std::string shown;
  std::string logged;
  rlib::stdErr.Capture(&shown);
  rlib::Log::SetObserver([&](int level, const rlib::String& text) {
    EXPECT_EQ(level, rlib::Log::k_Error);
    logged += text.str();
  });
  rlib::ReportInputError("Cannot read it");
  rlib::Log::SetObserver({});
  rlib::stdErr.Capture(nullptr);
  EXPECT_EQ(shown, "Cannot read it\n");
  EXPECT_EQ(logged, "Cannot read it");
  EXPECT_TRUE(rlib::AnyFailureNoted());
  rlib::ResetNotedFailures();
}

} // namespace
