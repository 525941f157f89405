#include "NumberedName.h"
#include "TempFolder.h"
#include "scripted/SetwrightTest.h"
#include "scripted/Writes.h"

using namespace scripted;
using testing::ElementsAre;

namespace {

using HelpTest = SetwrightTest;

TEST_F(HelpTest, TextIsTheExpectedOneByteForByte) {
  m_Access.Usage();
  const std::string expected = ReadTextFile(HELP_TEXT);
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(m_Recorder.m_Out, expected);
}

TEST_F(HelpTest, GoesToStandardOutputAloneAndNotToTheLog) {
  m_Access.Usage();
  EXPECT_EQ(m_Recorder.m_Err, "");
  EXPECT_TRUE(m_Recorder.m_Log.empty());
}

TEST_F(HelpTest, BeginsWithAnEmptyLineAndTheNameWithItsTrailingSpace) {
  m_Access.Usage();
  EXPECT_TRUE(m_Recorder.m_Out.starts_with("\nSetwright \n\nGet Current Values:\n"));
}

TEST_F(HelpTest, EndsWithOneEmptyLine) {
  m_Access.Usage();
  EXPECT_TRUE(m_Recorder.m_Out.ends_with("Override Master port only\n\n"));
}

TEST_F(HelpTest, IsWrittenLineByLine) {
  const Writes writes = WritesOf(m_Recorder, [this] { m_Access.Usage(); });
  std::string text;
  for (const std::string& line : writes.m_Texts) {
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    text += line;
  }
  EXPECT_EQ(text, ReadTextFile(HELP_TEXT));
}

TEST_F(HelpTest, IsTraced) {
  const Writes writes = WritesOf(m_Recorder, [this] { m_Access.Usage(); });
  EXPECT_THAT(writes.m_OpenCalls, testing::HasSubstr("\n  SetwrightApp::Usage (Setwright:"));
}

class HelpSwitchTest : public SetwrightTest, public testing::WithParamInterface<std::vector<const char*>> {};

TEST_P(HelpSwitchTest, PrintsTheHelpEndsWithTwoAndNeverConnects) {
  EXPECT_EQ(Run(GetParam()), 2);
  EXPECT_EQ(m_Recorder.m_Out, ReadTextFile(HELP_TEXT));
  EXPECT_EQ(m_Recorder.m_Err, "");
  EXPECT_TRUE(m_Script.m_Events.empty()) << m_Script.m_Events.front();
  EXPECT_EQ(m_App.SenderCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(AnywhereInAnyCase, HelpSwitchTest,
                         testing::Values(std::vector<const char*>{"-h"}, std::vector<const char*>{"-H"},
                                         std::vector<const char*>{"-h", "-Info"},
                                         std::vector<const char*>{"-Info", "-h"},
                                         std::vector<const char*>{"-Option", "a", "1", "-H", "-Info"},
                                         std::vector<const char*>{"-Option", "Name", "-h"},
                                         std::vector<const char*>{"-Option", "-h", "value"},
                                         std::vector<const char*>{"-Master", "-h"}),
                         [](const auto& info) { return NumberedName(info.index, info.param.back()); });

class NoHelpSwitchTest : public SetwrightTest, public testing::WithParamInterface<const char*> {};

TEST_P(NoHelpSwitchTest, IsNoRequestForHelp) {
  EXPECT_EQ(Run({"-Info", GetParam()}), 0);
  EXPECT_EQ(m_Script.m_Startups, 1);
  EXPECT_FALSE(m_Recorder.m_Out.starts_with("\nSetwright"));
}

INSTANTIATE_TEST_SUITE_P(Others, NoHelpSwitchTest, testing::Values("h", "--h", "-help", "-h ", "--help", "-"),
                         [](const auto& info) { return NumberedName(info.index, info.param); });

} // namespace
