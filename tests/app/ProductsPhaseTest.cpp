#include "TempFolder.h"
#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using ProductsPhaseTest = SetwrightTest;

TEST_F(ProductsPhaseTest, LogsThenParsesThenQueues) {
  ReceiveProducts({"-Option", "a", "1"});
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SYSTEM Received products: Parsing command line",
                                             "SYSTEM Setting Distribution option 'a' to '1'",
                                             "SYSTEM Queue Messages", "Send SetMasterOptionsMsg"));
  EXPECT_TRUE(m_Access.m_ProductsReceived);
  EXPECT_EQ(m_Access.m_ExitCode, 0);
  EXPECT_FALSE(m_App.EndRequested());
}

TEST_F(ProductsPhaseTest, NothingValidLogsShowsHelpAndEndsTheLoopButGoesOn) {
  ReceiveProducts({"-Unknown", "value"});
  EXPECT_THAT(m_Recorder.m_Log,
              ElementsAre("SYSTEM Received products: Parsing command line",
                          "SYSTEM No valid options were found to send", "SYSTEM Queue Messages"));
  EXPECT_EQ(m_Recorder.m_Out, ReadTextFile(HELP_TEXT));
  EXPECT_EQ(m_Access.m_ExitCode, 1);
  EXPECT_TRUE(m_App.EndRequested());
  EXPECT_TRUE(m_Access.m_ProductsReceived);
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(ProductsPhaseTest, NothingValidIsLoggedThenTheHelpIsShownThenTheRunIsToEnd) {
  std::vector<std::string> written;
  rlib::Log::SetObserver([&](int, const rlib::String&) {
    written.push_back(m_Recorder.m_Out);
    EXPECT_EQ(m_App.EndRequested(), written.size() == 3);
    EXPECT_EQ(m_Access.m_ExitCode, written.size() == 3 ? 1 : 0);
  });
  ReceiveProducts({"-Unknown"});
  EXPECT_THAT(written, ElementsAre("", "", ReadTextFile(HELP_TEXT)));
}

TEST_F(ProductsPhaseTest, NothingValidStillPrintsTheInformationBehindTheHelp) {
  // "-Info" makes a command line valid by itself, so the flag is set directly.
  m_Access.m_ShowInfo = true;
  ReceiveProducts({"-Unknown"});
  const std::string help = ReadTextFile(HELP_TEXT);
  ASSERT_TRUE(m_Recorder.m_Out.starts_with(help));
  EXPECT_TRUE(m_Recorder.m_Out.substr(help.size()).starts_with("Master ID:\t"));
  EXPECT_EQ(m_Access.m_ExitCode, 1);
}

TEST_F(ProductsPhaseTest, NothingValidStillQueuesWhatIsPending) {
  m_Access.m_ProductMsgs.push_back(MessageFactory::Create<RemoveProductMsg>());
  ReceiveProducts({"-Unknown"});
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("RemoveProductMsg"));
}

TEST_F(ProductsPhaseTest, UnknownSwitchesAloneEndTheRunWithOne) {
  EXPECT_EQ(Run({"-Unknown"}), 1);
  EXPECT_EQ(m_Recorder.m_Out, ReadTextFile(HELP_TEXT));
  EXPECT_EQ(m_Script.m_Cleanups, 1);
}

TEST_F(ProductsPhaseTest, AnEmptyCommandLineEndsTheRunWithOne) {
  EXPECT_EQ(Run({}), 1);
  EXPECT_EQ(m_Recorder.m_Out, ReadTextFile(HELP_TEXT));
}

TEST_F(ProductsPhaseTest, FrameworkSwitchesAloneAreNoRequest) {
  EXPECT_EQ(Run({"-Master", "host:1", "-JSON"}), 1);
}

TEST_F(ProductsPhaseTest, ReceivedFlagIsSetOnlyAfterEverythingWasSent) {
  m_Script.m_OnSend = [&](const auto&) { EXPECT_FALSE(m_Access.m_ProductsReceived); };
  ReceiveProducts({"-DumpLogs", "-Shutdown"});
  EXPECT_EQ(m_Script.m_Sent.size(), 2u);
  EXPECT_TRUE(m_Access.m_ProductsReceived);
}

TEST_F(ProductsPhaseTest, IsTracedUnderTheNameOfTheEvent) {
  std::vector<std::string> calls;
  m_Script.m_OnSend = [&](const auto&) { calls = OpenCalls(); };
  ReceiveProducts({"-DumpLogs"});
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::QueueMessages (Setwright",
                                 "SetwrightApp::OnBrenicAppStartupEvt (Setwright"));
}

TEST_F(ProductsPhaseTest, ParsesTheCommandLineOfTheExecutable) {
  EXPECT_EQ(Run({"-Option", "Name", "Value"}), 0);
  ASSERT_EQ(m_Script.m_Sent.size(), 1u);
  EXPECT_EQ(boost::static_pointer_cast<SetMasterOptionsMsg>(m_Script.m_Sent[0])->m_Options.at("Name"),
            "Value");
}

} // namespace
