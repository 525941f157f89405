#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

class ExecuteTest : public SetwrightTest {
protected:
  ExecuteTest() {
    m_Access.m_ProductsReceived = true;
    m_Script.m_ExecuteResult = 17;
  }

  /// The pass went to the framework, whose result is the result, and nothing was awaited.
  void ExpectLoopWithoutWait() {
    EXPECT_EQ(m_App.Execute(), 17);
    EXPECT_EQ(m_Script.m_Executes, 1);
    EXPECT_THAT(m_Script.m_Events, Not(Contains("SYSTEM Wait For Messages")));
  }
};

TEST_F(ExecuteTest, WithNothingPendingReturnsZeroWithoutTheLoop) {
  EXPECT_EQ(m_App.Execute(), 0);
  EXPECT_EQ(m_Script.m_Executes, 0);
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SYSTEM Wait For Messages"));
}

TEST_F(ExecuteTest, RunsTheLoopBeforeTheProducts) {
  m_Access.m_ProductsReceived = false;
  ExpectLoopWithoutWait();
}

TEST_F(ExecuteTest, RunsTheLoopWhileARebootIsPending) {
  m_Access.m_Reboot = true;
  ExpectLoopWithoutWait();
}

TEST_F(ExecuteTest, RunsTheLoopWhileAShutdownIsPending) {
  m_Access.m_Shutdown = true;
  ExpectLoopWithoutWait();
}

TEST_F(ExecuteTest, RunsTheLoopWithASystemWideShutdown) {
  m_Access.m_SuperExit = true;
  ExpectLoopWithoutWait();
}

TEST_F(ExecuteTest, RunsTheLoopWhileTheTranslationsAreNotShown) {
  m_Access.m_ShowPathTranslations = true;
  ExpectLoopWithoutWait();
  EXPECT_TRUE(m_Access.m_ShowPathTranslations);
}

TEST_F(ExecuteTest, RunsTheLoopWhileTranslationsAreToBeAdded) {
  m_Access.m_AddTranslations.push_back({{0, rlib::Path("X:")}});
  ExpectLoopWithoutWait();
  EXPECT_EQ(m_Access.m_AddTranslations.size(), 1u);
}

TEST_F(ExecuteTest, RunsTheLoopWhileRootsAreToBeRemoved) {
  m_Access.m_RemoveRoots.push_back("X:");
  ExpectLoopWithoutWait();
  EXPECT_EQ(m_Access.m_RemoveRoots.size(), 1u);
}

TEST_F(ExecuteTest, RunsTheLoopBehindAWaitThatFailed) {
  m_Access.m_LogDumpMsg = MessageFactory::Create<LogDumpMsg>();
  m_Script.m_Undelivered[m_Access.m_LogDumpMsg->m_ID] = 1;
  EXPECT_EQ(m_App.Execute(), 17);
  EXPECT_EQ(m_Script.m_Events.front(), "SYSTEM Wait For Messages");
  EXPECT_EQ(m_Script.m_Events.back(), "Execute");
  EXPECT_EQ(m_App.Execute(), 0);
  EXPECT_EQ(m_Script.m_Executes, 1);
}

TEST_F(ExecuteTest, RunsTheLoopWithoutAConnection) {
  m_Script.m_ConnectedTime = rlib::Time();
  ExpectLoopWithoutWait();
  EXPECT_THAT(m_Recorder.m_Log, IsEmpty());
}

TEST_F(ExecuteTest, AResultOfZeroFromTheLoopIsTheResult) {
  m_Access.m_SuperExit = true;
  m_Script.m_ExecuteResult = 0;
  EXPECT_EQ(m_App.Execute(), 0);
  EXPECT_EQ(m_Script.m_Executes, 1);
}

TEST_F(ExecuteTest, LeavesTheListOfTranslationsAloneWhileASystemRequestIsPending) {
  const auto list = MessageFactory::Create<PathTranslationsMsg>();
  m_Access.m_CurrentTranslationsMsg = list;
  m_Access.m_SuperExit = true;
  m_Access.m_ShowPathTranslations = true;
  m_Access.m_AddTranslations.push_back({{0, rlib::Path("X:")}});
  ExpectLoopWithoutWait();
  EXPECT_EQ(m_Access.m_CurrentTranslationsMsg, list);
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(ExecuteTest, LeavesTheListOfTranslationsAloneBeforeTheProducts) {
  const auto list = MessageFactory::Create<PathTranslationsMsg>();
  m_Access.m_CurrentTranslationsMsg = list;
  m_Access.m_ProductsReceived = false;
  ExpectLoopWithoutWait();
  EXPECT_EQ(m_Access.m_CurrentTranslationsMsg, list);
}

TEST_F(ExecuteTest, ProcessesTheTranslationsBeforeItWaits) {
  // A list that nothing asked for is used up before the wait.
  m_Access.m_CurrentTranslationsMsg = MessageFactory::Create<PathTranslationsMsg>();
  m_Access.m_LogDumpMsg = MessageFactory::Create<LogDumpMsg>();
  m_Script.m_OnWait = [&](const auto&) { EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg); };
  EXPECT_EQ(m_App.Execute(), 0);
  EXPECT_EQ(m_Script.m_Waits.size(), 1u);
}

TEST_F(ExecuteTest, IsTraced) {
  m_Access.m_SuperExit = true;
  std::vector<std::string> calls;
  m_Script.m_Passes.emplace_back([&] { calls = OpenCalls(); });
  m_App.Execute();
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::Execute (Setwright"));
}

} // namespace
