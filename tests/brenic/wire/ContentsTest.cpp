#include "wire/Contents.h"

#include <gtest/gtest.h>

#include <limits>

#include "brenic/MessageFactory.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/RevertMsg.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"

using namespace brenic;

namespace {

/// Through the bytes and back.
template <typename Class>
shared_ptr<Class> RoundTrip(const shared_ptr<Class>& message) {
  wire::Envelope envelope;
  wire::ToWire(*message, envelope);
  wire::Envelope read;
  EXPECT_TRUE(read.ParseFromString(envelope.SerializeAsString()));
  const auto again = boost::dynamic_pointer_cast<Class>(wire::FromWire(read));
  EXPECT_TRUE(again);
  EXPECT_EQ(again->m_ID, message->m_ID);
  return again;
}

const String k_AnyBytes("\0\xff\xc3\x28\n\"", 6); // no UTF-8, a NUL byte

TEST(Contents, OptionsComeBackAsTheyWere) {
  const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
  message->m_Section = k_AnyBytes;
  message->m_Options = {{"a", ""}, {"", "empty name"}, {k_AnyBytes, k_AnyBytes}};
  const auto again = RoundTrip(message);
  EXPECT_EQ(again->m_Section, message->m_Section);
  EXPECT_EQ(again->m_Options, message->m_Options);
}

TEST(Contents, NamesAskedForComeBackInTheirOrderRepetitionsIncluded) {
  const auto message = MessageFactory::Create<GetMasterOptionsMsg>();
  message->m_OptionNames = {"b", "a", "b", ""};
  EXPECT_EQ(RoundTrip(message)->m_OptionNames, message->m_OptionNames);
}

TEST(Contents, LimitsComeBackOverTheWholeRange) {
  const auto message = MessageFactory::Create<SetMasterLimitsMsg>();
  for (const int limit : {0, -1, 1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
    message->m_Limits[UID(true)] = limit;
  EXPECT_EQ(RoundTrip(message)->m_Limits, message->m_Limits);
}

TEST(Contents, RestrictionsComeBackWithTheirCase) {
  const auto message = MessageFactory::Create<SetMasterRestrictionsMsg>();
  message->m_Restrictions = {{"a", true}, {"A", false}, {"", true}};
  EXPECT_EQ(RoundTrip(message)->m_Restrictions, message->m_Restrictions);
}

TEST(Contents, TranslationsComeBackInTheirOrder) {
  const auto message = MessageFactory::Create<PathTranslationsMsg>();
  message->m_Translations = {
      {{2, Path("/z")}, {0, Path("X:\\a b")}}, {}, {{-5, Path("")}}, {{0, Path("X:\\a b")}}};
  EXPECT_EQ(RoundTrip(message)->m_Translations, message->m_Translations);
}

TEST(Contents, AProductComesBackWithItsDocumentUnchanged) {
  const auto message = MessageFactory::Create<ProductMsg>();
  message->m_Product =
      boost::make_shared<Product>(UID(true), "Name", rlib::vector<String>{"b", "a"}, "{ \"x\" :\t1 }\n");
  const auto again = RoundTrip(message)->m_Product;
  ASSERT_TRUE(again);
  EXPECT_EQ(again->Type(), message->m_Product->Type());
  EXPECT_EQ(again->Name(), "Name");
  EXPECT_EQ(again->Aliases(), message->m_Product->Aliases());
  EXPECT_EQ(again->Document(), message->m_Product->Document());
}

TEST(Contents, TheSystemRequestsComeBack) {
  const auto machine = MessageFactory::Create<MachineMsg>();
  machine->m_Command = -7;
  machine->m_Machine = UID(true);
  EXPECT_EQ(RoundTrip(machine)->m_Command, -7);
  EXPECT_EQ(RoundTrip(machine)->m_Machine, machine->m_Machine);
  const auto removal = MessageFactory::Create<RemoveProductMsg>();
  removal->m_ProductType = UID(true);
  EXPECT_EQ(RoundTrip(removal)->m_ProductType, removal->m_ProductType);
  RoundTrip(MessageFactory::Create<LogDumpMsg>());
  RoundTrip(MessageFactory::Create<ShutdownMsg>());
}

TEST(Contents, SequencesComeBackInTheirOrderOverTheWholeRange) {
  const auto message = MessageFactory::Create<RevertMsg>();
  message->m_Sequences = {
      2, 1, 2, 0, -1, std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()};
  EXPECT_EQ(RoundTrip(message)->m_Sequences, message->m_Sequences);
}

TEST(Contents, NamesThatDifferInCaseAreReadAsOneOptionWithTheLastValue) {
  wire::Envelope envelope;
  envelope.set_id(std::string(16, 'i'));
  for (const char* name : {"a", "A"}) {
    wire::Option& option = *envelope.mutable_set_master_options()->add_options();
    option.set_name(name);
    option.set_value(name);
  }
  const auto message = boost::static_pointer_cast<SetMasterOptionsMsg>(wire::FromWire(envelope));
  ASSERT_EQ(message->m_Options.size(), 1u);
  EXPECT_EQ(message->m_Options.begin()->first, "a");
  EXPECT_EQ(message->m_Options.begin()->second, "A");
}

TEST(Contents, AnUnknownFieldIsSkipped) {
  const auto message = MessageFactory::Create<RemoveProductMsg>();
  message->m_ProductType = UID(true);
  wire::Envelope envelope;
  wire::ToWire(*message, envelope);
  // Field 15 as bytes, field 100 as a number.
  std::string bytes = envelope.SerializeAsString() + std::string("\x7a\x03new\xa0\x06\x01", 8);
  wire::Envelope read;
  ASSERT_TRUE(read.ParseFromString(bytes));
  const auto again = boost::dynamic_pointer_cast<RemoveProductMsg>(wire::FromWire(read));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->m_ProductType, message->m_ProductType);
}

TEST(Contents, UnknownContentsGiveNoMessage) {
  wire::Envelope envelope;
  // An identifier, then field 100 with one field of its own.
  ASSERT_TRUE(envelope.ParseFromString("\x0a\x10" + std::string(16, 'i') + "\xa2\x06\x02\x08\x01"));
  EXPECT_FALSE(wire::FromWire(envelope));
  wire::Envelope empty;
  EXPECT_FALSE(wire::FromWire(empty));
}

TEST(Contents, AnIdentifierOfAnotherLengthIsMalformed) {
  for (const size_t length : {0, 1, 15, 17, 32}) {
    wire::Envelope envelope;
    envelope.set_id(std::string(length, 'i'));
    envelope.mutable_log_dump();
    EXPECT_THROW((void)wire::FromWire(envelope), wire::Malformed) << length;
    EXPECT_THROW((void)wire::Identifier(std::string(length, 'i')), wire::Malformed) << length;
  }
}

TEST(Contents, AnIdentifierOfAnotherLengthInsideIsMalformedToo) {
  wire::Envelope limits, removal, machine, product;
  for (wire::Envelope* envelope : {&limits, &removal, &machine, &product})
    envelope->set_id(std::string(16, 'i'));
  limits.mutable_set_master_limits()->add_limits()->set_type("short");
  removal.mutable_remove_product();
  machine.mutable_machine()->set_machine(std::string(17, 'x'));
  product.mutable_product()->set_name("no type");
  for (wire::Envelope* envelope : {&limits, &removal, &machine, &product})
    EXPECT_THROW((void)wire::FromWire(*envelope), wire::Malformed);
}

TEST(Contents, IdentifiersComeBack) {
  const UID id(true);
  EXPECT_EQ(wire::IdentifierBytes(id).size(), 16u);
  EXPECT_EQ(wire::Identifier(wire::IdentifierBytes(id)), id);
}

} // namespace
