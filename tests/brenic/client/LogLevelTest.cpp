#include <sstream>

#include <gtest/gtest.h>

#include "TempFolder.h"
#include "brenic/BrenicClientExecutable.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

namespace brenic {
namespace {

/// The start of an application that has these switches and no usable Master, so that it ends there.
class LogLevelTest : public testing::Test {
protected:
  ~LogLevelTest() override {
    rlib::Log::Close();
    rlib::stdErr.Capture(nullptr);
  }

  void Start(std::vector<std::string> switches) {
    m_Shown.clear();
    switches.insert(switches.begin(), {"tool", "-LogFolder", m_Folder.Name(), "-Master", "x:y:z"});
    std::vector<const char*> arguments;
    for (const std::string& text : switches)
      arguments.push_back(text.c_str());
    CommandLine cmd(static_cast<int>(arguments.size()), arguments.data());
    struct : BrenicClientExecutable {
      bool OnException(Exception*) override { return false; }
    } tool;
    tool.SetProgramName("tool");
    rlib::stdErr.Capture(&m_Shown);
    ASSERT_FALSE(tool.Startup(cmd));
    for (int level = rlib::Log::k_Error; level <= rlib::Log::k_Trace; ++level)
      rlib::Log::Write(static_cast<rlib::Log::Level>(level), "line of the test");
  }
  /// How many of the levels, from the first, have their line in the text; -1 when they are others.
  static int Levels(const std::string& text) {
    static const char* const k_Names[] = {"ERROR", "WARNING", "SYSTEM", "INFO", "DEBUG", "TRACE"};
    std::istringstream in(text);
    size_t count = 0;
    for (std::string line; std::getline(in, line);) {
      if (!line.ends_with("line of the test"))
        continue;
      if (count == std::size(k_Names) ||
          !line.ends_with(std::string(" ") + k_Names[count] + " line of the test"))
        return -1;
      ++count;
    }
    return static_cast<int>(count);
  }
  /// Empties the log.
  std::string Written() {
    const std::string text = ReadTextFile(m_Folder / "tool.log");
    std::filesystem::remove(m_Folder / "tool.log");
    return text;
  }

  TempFolder m_Folder;
  std::string m_Shown;
};

TEST_F(LogLevelTest, WithoutSwitchesTheFileHasAllButTheTraceAndNothingIsShown) {
  Start({});
  EXPECT_EQ(Levels(Written()), 5);
  EXPECT_EQ(Levels(m_Shown), 0);
}

TEST_F(LogLevelTest, EachSwitchChoosesForItsPlaceAlone) {
  for (int level = 0; level <= 6; ++level) {
    Start({"-LogFileLevel", std::to_string(level)});
    EXPECT_EQ(Levels(Written()), level);
    EXPECT_EQ(Levels(m_Shown), 0);
    Start({"-LogDisplayLevel", std::to_string(level)});
    EXPECT_EQ(Levels(Written()), 5);
    EXPECT_EQ(Levels(m_Shown), level);
    Start({"-logfilelevel", std::to_string(level), "-LOGDISPLAYLEVEL", std::to_string(6 - level)});
    EXPECT_EQ(Levels(Written()), level);
    EXPECT_EQ(Levels(m_Shown), 6 - level);
  }
}

TEST_F(LogLevelTest, WhatIsNoLevelIsToldAndTheDefaultHolds) {
  for (const char* level : {"7", "-1", "x", ""}) {
    Start({"-LogFileLevel", level, "-LogDisplayLevel", level});
    EXPECT_EQ(Levels(Written()), 5);
    EXPECT_EQ(Levels(m_Shown), 0);
    for (const std::string name : {"-LogFileLevel '", "-LogDisplayLevel '"})
      EXPECT_NE(m_Shown.find(name + level + "' is not a level from 0 to 6"), std::string::npos) << m_Shown;
  }
}

} // namespace
} // namespace brenic
