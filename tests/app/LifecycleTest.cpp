#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using LifecycleTest = SetwrightTest;

TEST_F(LifecycleTest, AnOptionIsSentAwaitedReleasedAndEndsTheRun) {
  EXPECT_EQ(Run({"-Option", "MaxJobs", "5"}), 0);
  EXPECT_THAT(m_Script.m_Events,
              ElementsAre("SetClientInfo", "Startup", "Execute",
                          "SYSTEM Received products: Parsing command line",
                          "SYSTEM Setting Distribution option 'MaxJobs' to '5'", "SYSTEM Queue Messages",
                          "Send SetMasterOptionsMsg", "SYSTEM Wait For Messages", "Wait SetMasterOptionsMsg",
                          "Cleanup"));
  EXPECT_FALSE(m_Access.m_OptionsMsg);
}

TEST_F(LifecycleTest, NothingIsParsedOrSentBeforeTheProducts) {
  m_Script.m_Passes = {nullptr, nullptr, [&] { m_App.Stop(); }};
  EXPECT_EQ(Run({"-Option", "a", "1", "-Reboot"}), 0);
  EXPECT_THAT(m_Script.m_Events,
              ElementsAre("SetClientInfo", "Startup", "Execute", "Execute", "Execute", "Cleanup"));
}

TEST_F(LifecycleTest, AFailedStartIsTheEnd) {
  m_Script.m_StartupResult = false;
  Run({"-Info"});
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SetClientInfo", "Startup"));
}

TEST_F(LifecycleTest, AnUndeliveredRequestKeepsTheLoopGoing) {
  m_Script.m_OnSend = [&](const auto& message) { m_Script.m_Undelivered[message->m_ID] = 2; };
  EXPECT_EQ(Run({"-Option", "a", "1"}), 0);
  EXPECT_EQ(m_Script.m_Executes, 3);
  EXPECT_EQ(m_Script.m_Waits.size(), 3u);
}

TEST_F(LifecycleTest, WhenTheLoopEndsByItselfTheRestIsLeftToCleanup) {
  m_Script.m_OnSend = [&](const auto& message) { m_Script.m_Undelivered[message->m_ID] = Script::k_Always; };
  m_Script.m_Passes = {[] { Arrive(MessageFactory::Create<EndProductsMsg>()); }, [&] { m_App.Stop(); }};
  EXPECT_EQ(Run({"-Option", "a", "1"}), 0);
  EXPECT_EQ(m_Script.m_Waits.size(), 1u);
  EXPECT_EQ(m_Script.m_Cleanups, 1);
}

TEST_F(LifecycleTest, AListOfTranslationsIsKeptAsTheLastReceived) {
  CommandLine cmd = Arguments({});
  m_App.Startup(cmd);
  Arrive(MessageFactory::Create<PathTranslationsMsg>());
  const auto newest = MessageFactory::Create<PathTranslationsMsg>();
  Arrive(newest);
  EXPECT_EQ(m_Access.m_CurrentTranslationsMsg, newest);
}

TEST_F(LifecycleTest, TheApplicationObjectIsTheOneThatTheFrameworkFinds) {
  EXPECT_EQ(Application::Instance(), &m_App);
  EXPECT_EQ(Executable::Instance(), &m_App);
}

TEST_F(LifecycleTest, StartupExecuteAndCleanupAreTraced) {
  std::vector<std::vector<std::string>> calls;
  m_Script.m_OnStartup = m_Script.m_OnCleanup = [&] { calls.push_back(OpenCalls()); };
  m_Script.m_Passes.emplace_back([&] {
    calls.push_back(OpenCalls());
    m_App.Stop();
  });
  Run({"-Info"});
  EXPECT_THAT(calls, ElementsAre(ElementsAre("SetwrightApp::Startup (Setwright"),
                                 ElementsAre("SetwrightApp::Execute (Setwright"),
                                 ElementsAre("SetwrightApp::Cleanup (Setwright")));
  EXPECT_THAT(OpenCalls(), IsEmpty());
}

} // namespace
