#include "brenic/MessageFactory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/RevertMsg.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"

using namespace brenic;

namespace {

template <typename Class>
class MessageClassTest : public testing::Test {};

using Classes = testing::Types<SetMasterOptionsMsg, GetMasterOptionsMsg, SetMasterLimitsMsg,
                               SetMasterRestrictionsMsg, PathTranslationsMsg, ProductMsg, RemoveProductMsg,
                               EndProductsMsg, LogDumpMsg, ShutdownMsg, MachineMsg, RevertMsg>;
struct Names {
  template <typename Class>
  static std::string GetName(int) {
    return Class::k_Description.m_ClassName;
  }
};
TYPED_TEST_SUITE(MessageClassTest, Classes, Names);

TYPED_TEST(MessageClassTest, IsMadeByItsType) {
  const auto message = MessageFactory::CreateMessage(TypeParam::s_Type);
  ASSERT_TRUE(message);
  EXPECT_TRUE(boost::dynamic_pointer_cast<TypeParam>(message));
  EXPECT_EQ(message->Type(), TypeParam::s_Type);
  EXPECT_STREQ(message->ClassName(), TypeParam::k_Description.m_ClassName);
}

TYPED_TEST(MessageClassTest, GetsAFreshIdentifierEveryTime) {
  const auto one = MessageFactory::Create<TypeParam>();
  const auto two = MessageFactory::Create<TypeParam>();
  EXPECT_FALSE(one->m_ID.IsNull());
  EXPECT_NE(one->m_ID, two->m_ID);
}

TYPED_TEST(MessageClassTest, IsEmittedToItsOwnSignalWithTheSamePointer) {
  struct Receiver : HasSlots<ThreadPolicy::LocalThreaded> {
    void OnMessage(const shared_ptr<TypeParam>& message) { m_Received = message; }
    shared_ptr<TypeParam> m_Received;
  } receiver;
  const auto message = MessageFactory::Create<TypeParam>();
  EXPECT_EQ(message->EmitTo(message), 0u);
  TypeParam::s_Signal.Connect(&receiver, &Receiver::OnMessage);
  EXPECT_EQ(message->EmitTo(message), 1u);
  EXPECT_EQ(receiver.m_Received, message);
}

TEST(MessageFactory, TypesAreThoseOfTheProtocol) {
  // Once released, a type's identifier is never used for another class.
  const std::pair<UID, char> types[] = {
      {SetMasterOptionsMsg::s_Type, '1'}, {GetMasterOptionsMsg::s_Type, '2'},
      {SetMasterLimitsMsg::s_Type, '3'},  {SetMasterRestrictionsMsg::s_Type, '4'},
      {PathTranslationsMsg::s_Type, '5'}, {ProductMsg::s_Type, '6'},
      {RemoveProductMsg::s_Type, '7'},    {EndProductsMsg::s_Type, '8'},
      {LogDumpMsg::s_Type, '9'},          {ShutdownMsg::s_Type, 'a'},
      {MachineMsg::s_Type, 'b'},          {RevertMsg::s_Type, 'c'}};
  for (const auto& [type, digit] : types)
    EXPECT_EQ(type.ToString(), std::string("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0") + digit);
}

TEST(MessageFactory, AnUnknownTypeIsAnExceptionThatNamesIt) {
  for (const UID& type : {UID::Null, UID(true)}) {
    try {
      MessageFactory::CreateMessage(type);
      ADD_FAILURE() << "nothing thrown";
    } catch (Exception* thrown) {
      const std::unique_ptr<Exception> e(thrown);
      EXPECT_THAT(e->Message().str(), testing::HasSubstr(type.ToString().str()));
    }
  }
}

TEST(MessageFactory, MessagesAreMadeEmpty) {
  EXPECT_EQ(MessageFactory::Create<SetMasterOptionsMsg>()->m_Section, "");
  EXPECT_TRUE(MessageFactory::Create<SetMasterOptionsMsg>()->m_Options.empty());
  EXPECT_FALSE(MessageFactory::Create<ProductMsg>()->m_Product);
  EXPECT_TRUE(MessageFactory::Create<RemoveProductMsg>()->m_ProductType.IsNull());
  EXPECT_EQ(MessageFactory::Create<MachineMsg>()->m_Command, 0);
  EXPECT_TRUE(MessageFactory::Create<MachineMsg>()->m_Machine.IsNull());
  EXPECT_TRUE(MessageFactory::Create<RevertMsg>()->m_Sequences.empty());
}

} // namespace
