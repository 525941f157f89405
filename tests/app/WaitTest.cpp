#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

namespace {

class WaitTest : public SetwrightTest {
protected:
  template <typename Class>
  boost::shared_ptr<Class> Fresh(int undelivered = 0) {
    const auto message = MessageFactory::Create<Class>();
    if (undelivered != 0)
      m_Script.m_Undelivered[message->m_ID] = undelivered;
    return message;
  }
  std::vector<rlib::UID> Awaited() const {
    std::vector<rlib::UID> ids;
    for (const Wait& wait : m_Script.m_Waits)
      ids.push_back(wait.m_Id);
    return ids;
  }
};

TEST_F(WaitTest, WithoutAConnectionReturnsFalseAtOnceAndLogsNothing) {
  m_Script.m_ConnectedTime = rlib::Time();
  m_Access.m_OptionsMsg = Fresh<SetMasterOptionsMsg>();
  m_Access.m_ProductMsgs = {Fresh<RemoveProductMsg>()};
  EXPECT_FALSE(m_Access.WaitForMessages());
  EXPECT_THAT(m_Script.m_Events, IsEmpty());
  EXPECT_TRUE(m_Access.m_OptionsMsg);
  EXPECT_EQ(m_Access.m_ProductMsgs.size(), 1u);
}

TEST_F(WaitTest, WithNothingPendingLogsAndReturnsTrue) {
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SYSTEM Wait For Messages"));
}

TEST_F(WaitTest, OptionsNotDeliveredAndNothingElseIsFalse) {
  m_Access.m_OptionsMsg = Fresh<SetMasterOptionsMsg>(Script::k_Always);
  EXPECT_FALSE(m_Access.WaitForMessages());
  EXPECT_TRUE(m_Access.m_OptionsMsg);
}

TEST_F(WaitTest, OptionsNotDeliveredButTypeOptionsDeliveredIsTrue) {
  m_Access.m_OptionsMsg = Fresh<SetMasterOptionsMsg>(Script::k_Always);
  m_Access.m_TypeOptionsMsgs[Type(1)] = Fresh<SetMasterOptionsMsg>();
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_TRUE(m_Access.m_OptionsMsg);
  EXPECT_TRUE(m_Access.m_TypeOptionsMsgs.empty());
}

TEST_F(WaitTest, LimitsNotDeliveredButUserLimitsDeliveredIsTrueAndTheLimitsStayPending) {
  m_Access.m_LimitsMsg = Fresh<SetMasterLimitsMsg>(Script::k_Always);
  m_Access.m_UserLimitsMsg = Fresh<GetMasterOptionsMsg>();
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_TRUE(m_Access.m_LimitsMsg);
  EXPECT_FALSE(m_Access.m_UserLimitsMsg);
  m_App.Cleanup();
  EXPECT_FALSE(m_Access.m_LimitsMsg);
}

TEST_F(WaitTest, TypeOptionsAreAwaitedInOrderOfTheTypeUpToTheFirstThatFails) {
  const auto c = m_Access.m_TypeOptionsMsgs[Type(9)] = Fresh<SetMasterOptionsMsg>();
  const auto a = m_Access.m_TypeOptionsMsgs[Type(1)] = Fresh<SetMasterOptionsMsg>();
  const auto b = m_Access.m_TypeOptionsMsgs[Type(5)] = Fresh<SetMasterOptionsMsg>(1);
  EXPECT_FALSE(m_Access.WaitForMessages());
  EXPECT_THAT(Awaited(), ElementsAre(a->m_ID, b->m_ID));
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.size(), 3u);

  m_Script.m_Waits.clear();
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_THAT(Awaited(), ElementsAre(a->m_ID, b->m_ID, c->m_ID));
  EXPECT_TRUE(m_Access.m_TypeOptionsMsgs.empty());
}

TEST_F(WaitTest, ALaterCallAwaitsOnlyWhatIsStillPending) {
  m_Access.m_LimitsMsg = Fresh<SetMasterLimitsMsg>();
  const auto dump = m_Access.m_LogDumpMsg = Fresh<LogDumpMsg>(2);
  EXPECT_FALSE(m_Access.WaitForMessages());
  m_Script.m_Waits.clear();
  EXPECT_FALSE(m_Access.WaitForMessages());
  EXPECT_THAT(Awaited(), ElementsAre(dump->m_ID));
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_FALSE(m_Access.m_LogDumpMsg);
}

TEST_F(WaitTest, ProductsAreAwaitedFromTheLastToTheFirstEachUntilItIsDelivered) {
  const auto first = Fresh<RemoveProductMsg>(2);
  const auto middle = Fresh<ProductMsg>();
  const auto last = Fresh<RemoveProductMsg>(3);
  m_Access.m_ProductMsgs = {first, middle, last};
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_THAT(Awaited(), ElementsAre(last->m_ID, last->m_ID, last->m_ID, last->m_ID, middle->m_ID,
                                     first->m_ID, first->m_ID, first->m_ID));
  EXPECT_TRUE(m_Access.m_ProductMsgs.empty());
}

TEST_F(WaitTest, ProductsAreAwaitedBehindEverythingElse) {
  m_Access.m_ProductMsgs = {Fresh<RemoveProductMsg>()};
  const auto product = m_Access.m_ProductMsgs[0];
  const auto limits = m_Access.m_UserLimitsMsg = Fresh<GetMasterOptionsMsg>();
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_THAT(Awaited(), ElementsAre(limits->m_ID, product->m_ID));
}

TEST_F(WaitTest, ProductsDoNotChangeTheResult) {
  m_Access.m_LogDumpMsg = Fresh<LogDumpMsg>(Script::k_Always);
  m_Access.m_ProductMsgs = {Fresh<RemoveProductMsg>(1)};
  EXPECT_FALSE(m_Access.WaitForMessages());
  EXPECT_TRUE(m_Access.m_ProductMsgs.empty());
}

TEST_F(WaitTest, EveryWaitLastsAtMostAQuarterOfASecond) {
  m_Access.m_OptionsMsg = Fresh<SetMasterOptionsMsg>();
  m_Access.m_TypeOptionsMsgs[Type(1)] = Fresh<SetMasterOptionsMsg>();
  m_Access.m_LogDumpMsg = Fresh<LogDumpMsg>();
  m_Access.m_ProductMsgs = {Fresh<RemoveProductMsg>(1)};
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_EQ(m_Script.m_Waits.size(), 5u);
  EXPECT_THAT(m_Script.m_Waits, Each(Field(&Wait::m_Seconds, 0.25f)));
}

TEST_F(WaitTest, AProductThatIsNeverDeliveredIsAwaitedUntilTheConnectionEnds) {
  m_Access.m_ProductMsgs = {Fresh<RemoveProductMsg>(Script::k_Always)};
  m_Script.m_OnWait = [&](const auto&) {
    if (m_Script.m_Waits.size() == 100)
      throw new ConnectionEnded("lost");
  };
  EXPECT_EQ(Run({"-Info"}), 0);
  EXPECT_EQ(m_Script.m_Waits.size(), 100u);
  EXPECT_EQ(m_Script.m_Cleanups, 1);
  EXPECT_EQ(m_Access.m_ProductMsgs.size(), 1u);
}

TEST_F(WaitTest, IsTraced) {
  std::vector<std::string> calls;
  m_Script.m_OnWait = [&](const auto&) { calls = OpenCalls(); };
  m_Access.m_LogDumpMsg = Fresh<LogDumpMsg>();
  m_Access.WaitForMessages();
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::WaitForMessages (Setwright"));
}

} // namespace
