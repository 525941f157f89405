#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;

namespace {

using StartupTest = SetwrightTest;

TEST_F(StartupTest, DeclaresTheClientBeforeItLetsTheFrameworkConnect) {
  CommandLine cmd = Arguments({"-Info"});
  EXPECT_TRUE(m_App.Startup(cmd));
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SetClientInfo", "Startup"));
}

TEST_F(StartupTest, DeclaresTheClientOnceItsSlotsAreConnected) {
  CommandLine cmd = Arguments({"-JSON"});
  m_Script.m_OnClientInfo = [&] {
    EXPECT_EQ(m_App.SenderCount(), 3u);
    EXPECT_TRUE(m_Access.m_DisplayJSON);
  };
  m_App.Startup(cmd);
  EXPECT_EQ(m_Script.m_ClientInfo.size(), 1u);
}

TEST_F(StartupTest, DeclaresAFreshIdentifierAndTheKindThree) {
  CommandLine cmd = Arguments({});
  SetwrightApp other;
  m_App.Startup(cmd);
  other.Startup(cmd);
  ASSERT_EQ(m_Script.m_ClientInfo.size(), 2u);
  EXPECT_EQ(m_Script.m_ClientInfo[0].second, 3);
  EXPECT_FALSE(m_Script.m_ClientInfo[0].first.IsNull());
  EXPECT_NE(m_Script.m_ClientInfo[0].first, m_Script.m_ClientInfo[1].first);
}

TEST_F(StartupTest, GivesTheResultOfTheFramework) {
  CommandLine cmd = Arguments({"-Info"});
  m_Script.m_StartupResult = false;
  EXPECT_FALSE(m_App.Startup(cmd));
  EXPECT_EQ(m_Script.m_Startups, 1);
}

TEST_F(StartupTest, HelpReturnsFalseAndSetsTheExitCode) {
  CommandLine cmd = Arguments({"-h"});
  EXPECT_FALSE(m_App.Startup(cmd));
  EXPECT_EQ(m_Access.m_ExitCode, 2);
}

TEST_F(StartupTest, RecordsWhetherTheSwitchJsonIsPresentInAnyCase) {
  const std::pair<std::vector<const char*>, bool> cases[] = {
      {{}, false},       {{"-JSON"}, true}, {{"-Info", "-json"}, true}, {{"-Option", "a", "-Json"}, true},
      {{"JSON"}, false}, {{"-JSO"}, false}, {{"-JSONs"}, false}};
  for (const auto& [arguments, expected] : cases) {
    SetwrightApp app;
    CommandLine cmd = Arguments(arguments);
    app.Startup(cmd);
    EXPECT_EQ(SetwrightAppAccess(app).m_DisplayJSON, expected) << (arguments.empty() ? "" : arguments.back());
  }
}

TEST_F(StartupTest, WithHelpTheSwitchJsonIsNotRecorded) {
  CommandLine cmd = Arguments({"-JSON", "-h"});
  m_App.Startup(cmd);
  EXPECT_FALSE(m_Access.m_DisplayJSON);
}

TEST_F(StartupTest, ConnectsEachOfTheThreeRepliesOnce) {
  CommandLine cmd = Arguments({"-Info"});
  EXPECT_EQ(Arrive(MessageFactory::Create<EndProductsMsg>()), 0u);
  m_App.Startup(cmd);
  EXPECT_EQ(m_App.SenderCount(), 3u);
  EXPECT_EQ(Arrive(MessageFactory::Create<EndProductsMsg>()), 1u);
  EXPECT_EQ(Arrive(MessageFactory::Create<PathTranslationsMsg>()), 1u);
  EXPECT_EQ(Arrive(MessageFactory::Create<SetMasterOptionsMsg>()), 1u);
  EXPECT_EQ(Arrive(MessageFactory::Create<LogDumpMsg>()), 0u);
}

TEST_F(StartupTest, SlotsAreConnectedWhenTheFrameworkIsStarted) {
  CommandLine cmd = Arguments({"-Info"});
  const auto list = MessageFactory::Create<PathTranslationsMsg>();
  m_Script.m_OnStartup = [&] { EXPECT_EQ(Arrive(list), 1u); };
  m_App.Startup(cmd);
  EXPECT_EQ(m_Access.m_CurrentTranslationsMsg, list);
}

TEST_F(StartupTest, DestructionDisconnectsFromEverySignal) {
  {
    SetwrightApp app;
    CommandLine cmd = Arguments({"-Info"});
    app.Startup(cmd);
    EXPECT_EQ(Arrive(MessageFactory::Create<EndProductsMsg>()), 1u);
  }
  EXPECT_EQ(Arrive(MessageFactory::Create<EndProductsMsg>()), 0u);
  EXPECT_EQ(Arrive(MessageFactory::Create<PathTranslationsMsg>()), 0u);
  EXPECT_EQ(Arrive(MessageFactory::Create<SetMasterOptionsMsg>()), 0u);
}

TEST_F(StartupTest, EverythingIsEmptyAfterConstruction) {
  EXPECT_FALSE(m_Access.m_OptionsMsg || m_Access.m_LimitsMsg || m_Access.m_RestrictionsMsg);
  EXPECT_FALSE(m_Access.m_UserLimitsMsg || m_Access.m_PathTranslationsMsg || m_Access.m_LogDumpMsg);
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
  EXPECT_TRUE(m_Access.m_TypeOptionsMsgs.empty() && m_Access.m_ProductMsgs.empty());
  EXPECT_TRUE(m_Access.m_AddTranslations.empty() && m_Access.m_RemoveRoots.empty());
  EXPECT_FALSE(m_Access.m_ProductsReceived || m_Access.m_ShowInfo || m_Access.m_SuperExit);
  EXPECT_FALSE(m_Access.m_Reboot || m_Access.m_Shutdown || m_Access.m_DisplayJSON);
  EXPECT_FALSE(m_Access.m_ShowPathTranslations);
  EXPECT_EQ(m_Access.m_UserLimitName, "");
  EXPECT_EQ(m_Access.m_UserLimitValue, 0);
  EXPECT_EQ(m_Access.m_ExitCode, 0);
}

} // namespace
