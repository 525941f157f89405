// A log in a folder of its own, with what it shows on standard error.
#pragma once

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

inline std::string WhyNot(const rlib::Result<>& result) {
  return result ? "it is done" : result.Reason().str();
}

class LogTest : public testing::Test {
protected:
  /// What other tests of this process have said until now goes to the first file, which is this one.
  static void SetUpTestSuite() {
    const TempFolder folder;
    ASSERT_TRUE(rlib::Log::Open("test", folder.Name(), rlib::Log::k_Trace, rlib::Log::k_Nothing));
    rlib::Log::Close();
  }
  void SetUp() override {
    rlib::ResetNotedFailures();
    rlib::stdErr.Capture(&m_Shown);
  }
  void TearDown() override {
    rlib::Log::Close();
    rlib::stdErr.Capture(nullptr);
    EXPECT_FALSE(rlib::AnyFailureNoted());
  }
  rlib::Result<> Open(int fileLevel = rlib::Log::k_Trace, int displayLevel = 0) {
    return rlib::Log::Open("test", m_Folder.Name(), fileLevel, displayLevel);
  }
  std::string Written(const char* name = "test.log") const { return ReadTextFile(m_Folder / name); }

  TempFolder m_Folder;
  std::string m_Shown;
};
