#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using SystemOperationsTest = SetwrightTest;

struct Operation {
  bool (SetwrightAppAccess::*m_Call)();
  const char* m_Trace;
  const char* m_Line;
};

constexpr Operation k_Operations[] = {
    {&SetwrightAppAccess::DumpLogs, "SetwrightApp::DumpLogs (Setwright",
     "SYSTEM Requesting system-wide log dump"},
    {&SetwrightAppAccess::SuperExit, "SetwrightApp::SuperExit (Setwright",
     "SYSTEM Requesting system-wide shutdown"},
    {&SetwrightAppAccess::Reboot, "SetwrightApp::Reboot (Setwright",
     "SYSTEM Requesting to reboot the Master's machine"},
    {&SetwrightAppAccess::Shutdown, "SetwrightApp::Shutdown (Setwright",
     "SYSTEM Requesting to shutdown the Master's machine"},
};

TEST_F(SystemOperationsTest, EachLogsOneLineSendsNothingAndReturnsTrue) {
  for (const Operation& operation : k_Operations) {
    m_Recorder.m_Log.clear();
    EXPECT_TRUE((m_Access.*operation.m_Call)());
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre(operation.m_Line));
  }
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(SystemOperationsTest, EachIsTracedUnderItsName) {
  std::vector<std::string> calls;
  rlib::Log::SetObserver([&](int, const rlib::String&) { calls = OpenCalls(); });
  for (const Operation& operation : k_Operations) {
    (m_Access.*operation.m_Call)();
    EXPECT_THAT(calls, ElementsAre(operation.m_Trace));
  }
}

TEST_F(SystemOperationsTest, EachLogsItsLineBeforeItRecordsTheRequest) {
  for (const Operation& operation : k_Operations) {
    SetwrightApp app;
    SetwrightAppAccess access(app);
    int lines = 0;
    rlib::Log::SetObserver([&](int, const rlib::String&) {
      ++lines;
      EXPECT_FALSE(access.m_Reboot || access.m_Shutdown || access.m_SuperExit || access.m_LogDumpMsg);
    });
    (access.*operation.m_Call)();
    EXPECT_EQ(lines, 1);
  }
}

TEST_F(SystemOperationsTest, EachRecordsItsOwnRequestAlone) {
  m_Access.Reboot();
  EXPECT_TRUE(m_Access.m_Reboot);
  EXPECT_FALSE(m_Access.m_Shutdown || m_Access.m_SuperExit || m_Access.m_LogDumpMsg);
  m_Access.m_Reboot = false;
  m_Access.Shutdown();
  EXPECT_TRUE(m_Access.m_Shutdown);
  EXPECT_FALSE(m_Access.m_Reboot || m_Access.m_SuperExit || m_Access.m_LogDumpMsg);
  m_Access.m_Shutdown = false;
  m_Access.SuperExit();
  EXPECT_TRUE(m_Access.m_SuperExit);
  EXPECT_FALSE(m_Access.m_Reboot || m_Access.m_Shutdown || m_Access.m_LogDumpMsg);
  m_Access.m_SuperExit = false;
  m_Access.DumpLogs();
  EXPECT_TRUE(m_Access.m_LogDumpMsg);
  EXPECT_FALSE(m_Access.m_Reboot || m_Access.m_Shutdown || m_Access.m_SuperExit);
}

TEST_F(SystemOperationsTest, ARepeatedLogDumpReplacesTheFirst) {
  m_Access.DumpLogs();
  const auto first = m_Access.m_LogDumpMsg;
  m_Access.DumpLogs();
  EXPECT_NE(m_Access.m_LogDumpMsg->m_ID, first->m_ID);
  EXPECT_EQ(m_Recorder.m_Log.size(), 2u);
}

TEST_F(SystemOperationsTest, RepeatedSwitchesSendOneRequestEach) {
  ReceiveProducts({"-Reboot", "-Reboot", "-SuperExit", "-SuperExit", "-DumpLogs", "-DumpLogs"});
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("LogDumpMsg", "ShutdownMsg", "MachineMsg"));
}

TEST_F(SystemOperationsTest, RebootAndShutdownSendCommandOneThenTwoInAnyOrderOfTheSwitches) {
  ReceiveProducts({"-Shutdown", "-Reboot"});
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("MachineMsg", "MachineMsg"));
  EXPECT_EQ(boost::static_pointer_cast<MachineMsg>(m_Script.m_Sent[0])->m_Command, 1);
  EXPECT_EQ(boost::static_pointer_cast<MachineMsg>(m_Script.m_Sent[1])->m_Command, 2);
}

TEST_F(SystemOperationsTest, LogDumpAloneIsSentAwaitedAndEndsTheRun) {
  EXPECT_EQ(Run({"-DumpLogs"}), 0);
  EXPECT_THAT(m_Script.m_Events,
              ElementsAre("SetClientInfo", "Startup", "Execute",
                          "SYSTEM Received products: Parsing command line",
                          "SYSTEM Requesting system-wide log dump", "SYSTEM Queue Messages",
                          "Send LogDumpMsg", "SYSTEM Wait For Messages", "Wait LogDumpMsg", "Cleanup"));
}

TEST_F(SystemOperationsTest, LogDumpIsAwaitedAgainUntilItIsDelivered) {
  m_Script.m_OnSend = [&](const auto& message) { m_Script.m_Undelivered[message->m_ID] = 3; };
  EXPECT_EQ(Run({"-DumpLogs"}), 0);
  EXPECT_EQ(m_Script.m_Waits.size(), 4u);
  EXPECT_EQ(m_Script.m_Executes, 4);
}

TEST_F(SystemOperationsTest, RebootIsNeverAwaitedAndEndsTheRun) {
  EXPECT_EQ(Run({"-Reboot"}), 0);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("MachineMsg"));
  EXPECT_THAT(m_Script.m_Waits, IsEmpty());
  EXPECT_EQ(m_Script.m_Executes, 1);
}

TEST_F(SystemOperationsTest, SuperExitRunsTheLoopUntilTheFrameworkEndsIt) {
  m_Script.m_Passes = {[] { Arrive(MessageFactory::Create<EndProductsMsg>()); }, nullptr, nullptr,
                       [&] { m_App.Stop(); }};
  EXPECT_EQ(Run({"-SuperExit", "-DumpLogs"}), 0);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("LogDumpMsg", "ShutdownMsg"));
  EXPECT_THAT(m_Script.m_Waits, IsEmpty());
  EXPECT_EQ(m_Script.m_Executes, 4);
  EXPECT_TRUE(m_Access.m_SuperExit);
}

} // namespace
