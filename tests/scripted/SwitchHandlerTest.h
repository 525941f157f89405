// What tests of single switch handlers start from.
#pragma once

#include "TempFolder.h"
#include "scripted/SetwrightTest.h"

namespace scripted {

class SwitchHandlerTest : public SetwrightTest {
protected:
  /// The handler's result for the switch at `index`; m_Index is where it left the position.
  template <typename... More>
  bool Handle(bool (SetwrightAppAccess::*handler)(int&, More...), std::vector<const char*> arguments,
              int index, More... more) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_Index = index;
    return (m_Access.*handler)(m_Index, more...);
  }
  bool Parse(std::vector<const char*> arguments) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    return m_Access.ParseCommandLine();
  }

  /// The text stands in the log, then on standard error, and nothing else was said.
  void ExpectError(const std::string& text) {
    EXPECT_EQ(m_Recorder.m_Err, text + "\n");
    EXPECT_THAT(m_Recorder.m_Log, testing::ElementsAre("ERROR " + text));
    EXPECT_EQ(m_Recorder.m_WrittenAtLastLine, "");
    EXPECT_EQ(m_Recorder.m_Out, "");
    EXPECT_EQ(m_Access.m_ExitCode, 0);
  }
  /// The text stands on standard output, then ends the log, and the run will end with 1.
  void ExpectProductError(const std::string& text) {
    EXPECT_EQ(m_Recorder.m_Out, text + "\n");
    EXPECT_EQ(m_Recorder.m_Err, "");
    ASSERT_FALSE(m_Recorder.m_Log.empty());
    EXPECT_EQ(m_Recorder.m_Log.back(), "ERROR " + text);
    // Behind it the standard error, where a file may have been explained.
    EXPECT_THAT(m_Recorder.m_WrittenAtLastLine, testing::StartsWith(text + "\n"));
    EXPECT_EQ(m_Access.m_ExitCode, 1);
  }
  void ExpectSilence() {
    EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
    EXPECT_THAT(m_Recorder.m_Log, testing::IsEmpty());
    EXPECT_EQ(m_Access.m_ExitCode, 0);
  }

  int m_Index = 0;
};

} // namespace scripted
