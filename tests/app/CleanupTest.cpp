#include <boost/weak_ptr.hpp>

#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;

namespace {

class CleanupTest : public SetwrightTest {
protected:
  static void FillEverything(SetwrightAppAccess& app) {
    app.m_OptionsMsg = MessageFactory::Create<SetMasterOptionsMsg>();
    app.m_TypeOptionsMsgs[Type(1)] = MessageFactory::Create<SetMasterOptionsMsg>();
    app.m_LimitsMsg = MessageFactory::Create<SetMasterLimitsMsg>();
    app.m_RestrictionsMsg = MessageFactory::Create<SetMasterRestrictionsMsg>();
    app.m_UserLimitsMsg = MessageFactory::Create<GetMasterOptionsMsg>();
    app.m_AddTranslations.push_back({{0, rlib::Path("X:")}});
    app.m_RemoveRoots.push_back("Y:");
    app.m_PathTranslationsMsg = MessageFactory::Create<PathTranslationsMsg>();
    app.m_CurrentTranslationsMsg = MessageFactory::Create<PathTranslationsMsg>();
    app.m_LogDumpMsg = MessageFactory::Create<LogDumpMsg>();
    app.m_ProductMsgs.push_back(MessageFactory::Create<RemoveProductMsg>());
  }
};

TEST_F(CleanupTest, ReleasesThePendingRequests) {
  FillEverything(m_Access);
  m_App.Cleanup();
  EXPECT_FALSE(m_Access.m_OptionsMsg);
  EXPECT_TRUE(m_Access.m_TypeOptionsMsgs.empty());
  EXPECT_FALSE(m_Access.m_LimitsMsg);
  EXPECT_FALSE(m_Access.m_UserLimitsMsg);
  EXPECT_TRUE(m_Access.m_AddTranslations.empty());
  EXPECT_TRUE(m_Access.m_RemoveRoots.empty());
  EXPECT_FALSE(m_Access.m_PathTranslationsMsg);
  EXPECT_FALSE(m_Access.m_LogDumpMsg);
}

TEST_F(CleanupTest, KeepsRestrictionsProductsAndTheReceivedList) {
  FillEverything(m_Access);
  m_App.Cleanup();
  EXPECT_TRUE(m_Access.m_RestrictionsMsg);
  EXPECT_EQ(m_Access.m_ProductMsgs.size(), 1u);
  EXPECT_TRUE(m_Access.m_CurrentTranslationsMsg);
}

TEST_F(CleanupTest, DestructionReleasesTheRest) {
  boost::weak_ptr<Message> restrictions, product, list;
  {
    SetwrightApp app;
    SetwrightAppAccess access(app);
    FillEverything(access);
    app.Cleanup();
    restrictions = access.m_RestrictionsMsg;
    product = access.m_ProductMsgs[0];
    list = access.m_CurrentTranslationsMsg;
    EXPECT_FALSE(restrictions.expired() || product.expired() || list.expired());
  }
  EXPECT_TRUE(restrictions.expired() && product.expired() && list.expired());
}

TEST_F(CleanupTest, ReleasesBeforeTheFrameworkClosesTheConnection) {
  FillEverything(m_Access);
  m_Script.m_OnCleanup = [&] { EXPECT_FALSE(m_Access.m_OptionsMsg || m_Access.m_LogDumpMsg); };
  m_App.Cleanup();
  EXPECT_THAT(m_Script.m_Events, ElementsAre("Cleanup"));
}

TEST_F(CleanupTest, KeepsTheConnectedSlots) {
  CommandLine cmd = Arguments({"-Info"});
  m_App.Startup(cmd);
  m_App.Cleanup();
  EXPECT_EQ(m_App.SenderCount(), 3u);
}

} // namespace
