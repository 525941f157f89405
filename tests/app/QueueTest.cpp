#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using QueueTest = SetwrightTest;

TEST_F(QueueTest, WithNothingPendingOnlyLogs) {
  m_Access.QueueMessages();
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SYSTEM Queue Messages"));
}

TEST_F(QueueTest, SendsEverythingInItsOrder) {
  const auto options = m_Access.m_OptionsMsg = MessageFactory::Create<SetMasterOptionsMsg>();
  const auto third = m_Access.m_TypeOptionsMsgs[Type(200)] = MessageFactory::Create<SetMasterOptionsMsg>();
  const auto first = m_Access.m_TypeOptionsMsgs[Type(1)] = MessageFactory::Create<SetMasterOptionsMsg>();
  const auto second = m_Access.m_TypeOptionsMsgs[Type(2)] = MessageFactory::Create<SetMasterOptionsMsg>();
  const auto limits = m_Access.m_LimitsMsg = MessageFactory::Create<SetMasterLimitsMsg>();
  const auto restrictions = m_Access.m_RestrictionsMsg = MessageFactory::Create<SetMasterRestrictionsMsg>();
  const auto dump = m_Access.m_LogDumpMsg = MessageFactory::Create<LogDumpMsg>();
  const auto userLimits = MessageFactory::Create<GetMasterOptionsMsg>();
  m_Access.m_UserLimitsMsg = userLimits;
  m_Access.m_PathTranslationsMsg = MessageFactory::Create<PathTranslationsMsg>();
  m_Access.m_SuperExit = m_Access.m_Reboot = m_Access.m_Shutdown = true;
  const boost::shared_ptr<Message> install = MessageFactory::Create<ProductMsg>();
  const boost::shared_ptr<Message> remove = MessageFactory::Create<RemoveProductMsg>();
  m_Access.m_ProductMsgs = {remove, install};

  m_Access.QueueMessages();
  const auto& sent = m_Script.m_Sent;
  ASSERT_EQ(sent.size(), 13u);
  EXPECT_EQ(m_Script.m_Events.front(), "SYSTEM Queue Messages");
  const boost::shared_ptr<Message> expected[] = {options, first,        second, third,
                                                 limits,  restrictions, dump,   userLimits};
  for (size_t i = 0; i < std::size(expected); ++i)
    EXPECT_EQ(sent[i], expected[i]) << i;
  EXPECT_STREQ(sent[8]->ClassName(), "ShutdownMsg");
  EXPECT_EQ(boost::dynamic_pointer_cast<MachineMsg>(sent[9])->m_Command, 1);
  EXPECT_EQ(boost::dynamic_pointer_cast<MachineMsg>(sent[10])->m_Command, 2);
  EXPECT_EQ(sent[11], remove);
  EXPECT_EQ(sent[12], install);
}

TEST_F(QueueTest, KeepsWhatWasSentAsPending) {
  m_Access.m_OptionsMsg = MessageFactory::Create<SetMasterOptionsMsg>();
  m_Access.m_TypeOptionsMsgs[Type(1)] = MessageFactory::Create<SetMasterOptionsMsg>();
  m_Access.m_ProductMsgs = {MessageFactory::Create<RemoveProductMsg>()};
  m_Access.QueueMessages();
  EXPECT_TRUE(m_Access.m_OptionsMsg);
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.size(), 1u);
  EXPECT_EQ(m_Access.m_ProductMsgs.size(), 1u);
  EXPECT_THAT(m_Script.m_Waits, IsEmpty());
}

TEST_F(QueueTest, LeavesThePathTranslationsToExecute) {
  m_Access.m_PathTranslationsMsg = MessageFactory::Create<PathTranslationsMsg>();
  m_Access.m_AddTranslations.push_back({{0, rlib::Path("X:")}});
  m_Access.QueueMessages();
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(QueueTest, ARebootIsCommandOneForTheMastersOwnMachineAndIsSentOnce) {
  m_Access.m_Reboot = true;
  m_Access.QueueMessages();
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("MachineMsg"));
  const auto message = boost::static_pointer_cast<MachineMsg>(m_Script.m_Sent[0]);
  EXPECT_EQ(message->m_Command, 1);
  EXPECT_EQ(message->m_Machine, rlib::UID::Null);
  EXPECT_FALSE(message->m_ID.IsNull());
  EXPECT_FALSE(m_Access.m_Reboot);
}

TEST_F(QueueTest, AShutdownIsCommandTwoForTheMastersOwnMachineAndIsSentOnce) {
  m_Access.m_Shutdown = true;
  m_Access.QueueMessages();
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("MachineMsg"));
  const auto message = boost::static_pointer_cast<MachineMsg>(m_Script.m_Sent[0]);
  EXPECT_EQ(message->m_Command, 2);
  EXPECT_EQ(message->m_Machine, rlib::UID::Null);
  EXPECT_FALSE(m_Access.m_Shutdown);
}

TEST_F(QueueTest, TheFlagsAreClearedOnlyAfterTheirMessageWasSent) {
  m_Access.m_Reboot = m_Access.m_Shutdown = true;
  std::vector<std::pair<bool, bool>> flags;
  m_Script.m_OnSend = [&](const auto&) { flags.emplace_back(m_Access.m_Reboot, m_Access.m_Shutdown); };
  m_Access.QueueMessages();
  EXPECT_THAT(flags, ElementsAre(std::pair(true, true), std::pair(false, true)));
}

TEST_F(QueueTest, TheSystemWideShutdownKeepsItsFlag) {
  m_Access.m_SuperExit = true;
  m_Access.QueueMessages();
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("ShutdownMsg"));
  EXPECT_FALSE(m_Script.m_Sent[0]->m_ID.IsNull());
  EXPECT_TRUE(m_Access.m_SuperExit);
}

TEST_F(QueueTest, TheThreeSystemRequestsAreNeverAwaited) {
  m_Access.m_SuperExit = m_Access.m_Reboot = m_Access.m_Shutdown = true;
  m_Access.QueueMessages();
  EXPECT_TRUE(m_Access.WaitForMessages());
  EXPECT_EQ(m_Script.m_Sent.size(), 3u);
  EXPECT_THAT(m_Script.m_Waits, IsEmpty());
}

} // namespace
