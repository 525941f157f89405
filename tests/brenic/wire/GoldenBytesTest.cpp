// The bytes of every message and frame with fixed contents. They are part of the protocol: a program of
// another version must read them. They were put together from the schema by hand, apart from the encoder.
#include <gtest/gtest.h>

#include "Ascending.h"
#include "Hex.h"
#include "brenic/ManagementMessages.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/RevertMsg.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"
#include "wire/Contents.h"

using namespace brenic;

namespace {

const UID k_GoldenId = Ascending(0);
const UID k_Type = Ascending(0xf0);

/// Encodes as expected, and the bytes decode and encode to themselves.
void ExpectGolden(const Message& message, const std::string& hex) {
  wire::Frame frame;
  wire::ToWire(message, *frame.mutable_message());
  EXPECT_EQ(ToHex(wire::Encode(frame)), hex);

  wire::FrameReader reader;
  reader.Feed(FromHex(hex));
  auto decoded = reader.Next();
  ASSERT_TRUE(decoded);
  const auto again = wire::FromWire(*decoded->mutable_message());
  ASSERT_TRUE(again);
  EXPECT_EQ(again->Type(), message.Type());
  EXPECT_EQ(again->m_ID, message.m_ID);
  wire::Frame second;
  wire::ToWire(*again, *second.mutable_message());
  EXPECT_EQ(ToHex(wire::Encode(second)), hex);
}

template <typename Class>
Class Identified() {
  Class message;
  message.m_ID = k_GoldenId;
  return message;
}

TEST(GoldenBytes, SetMasterOptions) {
  auto message = Identified<SetMasterOptionsMsg>();
  message.m_Section = "Distribution";
  message.m_Options = {{"B", ""}, {"a", "1"}}; // by name, ignoring case; empty texts are left out
  ExpectGolden(message,
               "000000323a300a10000102030405060708090a0b0c0d0e0f82011b0a0c446973747269627574696f6e12060a0161"
               "12013112030a0142");
}

TEST(GoldenBytes, GetMasterOptions) {
  auto message = Identified<GetMasterOptionsMsg>();
  message.m_OptionNames = {"UserLimits", "x"};
  ExpectGolden(message,
               "000000263a240a10000102030405060708090a0b0c0d0e0f8a010f0a0a557365724c696d6974730a0178");
}

TEST(GoldenBytes, SetMasterLimits) {
  auto message = Identified<SetMasterLimitsMsg>();
  message.m_Limits = {{k_Type, -1}, {UID::Null, 300}};
  ExpectGolden(
      message,
      "000000443a420a10000102030405060708090a0b0c0d0e0f92012d0a150a1000000000000000000000000000000000"
      "10d8040a140a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff1001");
}

TEST(GoldenBytes, SetMasterRestrictions) {
  auto message = Identified<SetMasterRestrictionsMsg>();
  message.m_Restrictions = {{"On", true}, {"Off", false}};
  ExpectGolden(message,
               "000000263a240a10000102030405060708090a0b0c0d0e0f9a010f0a050a034f66660a060a024f6e1001");
}

TEST(GoldenBytes, PathTranslations) {
  auto message = Identified<PathTranslationsMsg>();
  message.m_Translations = {{{0, Path("X:")}, {1, Path("/x")}, {2, Path("")}}, {}};
  ExpectGolden(
      message,
      "0000002d3a2b0a10000102030405060708090a0b0c0d0e0fa201160a120a041202583a0a06080112022f780a020802"
      "0a00");
}

TEST(GoldenBytes, Product) {
  auto message = Identified<ProductMsg>();
  message.m_Product = boost::make_shared<Product>(k_Type, "Name", rlib::vector<String>{"n", "m"}, "{}");
  ExpectGolden(
      message,
      "000000393a370a10000102030405060708090a0b0c0d0e0faa01220a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff1204"
      "4e616d651a016e1a016d22027b7d");
}

TEST(GoldenBytes, RemoveProduct) {
  auto message = Identified<RemoveProductMsg>();
  message.m_ProductType = UID::Null;
  ExpectGolden(message,
               "000000293a270a10000102030405060708090a0b0c0d0e0fb201120a1000000000000000000000000000000000");
}

TEST(GoldenBytes, EndProducts) {
  auto message = Identified<EndProductsMsg>();
  message.m_Digest = "\x01\x02";
  ExpectGolden(message, "0000001b3a190a10000102030405060708090a0b0c0d0e0fba01040a020102");
}

TEST(GoldenBytes, LogDump) {
  ExpectGolden(Identified<LogDumpMsg>(), "000000173a150a10000102030405060708090a0b0c0d0e0fc20100");
}

TEST(GoldenBytes, Shutdown) {
  ExpectGolden(Identified<ShutdownMsg>(), "000000173a150a10000102030405060708090a0b0c0d0e0fca0100");
}

TEST(GoldenBytes, Machine) {
  auto message = Identified<MachineMsg>();
  message.m_Command = MachineMsg::k_Reboot;
  message.m_Machine = UID::Null;
  ExpectGolden(
      message,
      "0000002b3a290a10000102030405060708090a0b0c0d0e0fd201140801121000000000000000000000000000000000");
}

TEST(GoldenBytes, Revert) {
  auto message = Identified<RevertMsg>();
  message.m_Sequences = {7, 300};
  ExpectGolden(message, "0000001c3a1a0a10000102030405060708090a0b0c0d0e0fda01050a0307ac02");
}

TEST(GoldenBytes, IssueClient) {
  auto message = Identified<IssueClientMsg>();
  message.m_Name = "n";
  message.m_Role = "component";
  message.m_PublicKey = "k";
  message.m_Days = -1;
  message.m_Renew = true;
  message.m_Overlap = 14;
  ExpectGolden(
      message,
      "0000002e3a2c0a10000102030405060708090a0b0c0d0e0fe201170a016e1209636f6d706f6e656e741a016b20012801300e");
}

TEST(GoldenBytes, IssuedClient) {
  auto message = Identified<IssuedClientMsg>();
  message.m_Certificate = "c";
  message.m_Authorities = "a";
  message.m_Address = "h";
  ExpectGolden(message, "000000203a1e0a10000102030405060708090a0b0c0d0e0fea01090a01631201611a0168");
}

TEST(GoldenBytes, RevokeClient) {
  auto message = Identified<RevokeClientMsg>();
  message.m_Client = "n";
  ExpectGolden(message, "0000001a3a180a10000102030405060708090a0b0c0d0e0ff201030a016e");
}

TEST(GoldenBytes, ChangeHosts) {
  auto message = Identified<ChangeHostsMsg>();
  message.m_Add = {"a", "b"};
  message.m_Remove = {"c"};
  ExpectGolden(message, "000000203a1e0a10000102030405060708090a0b0c0d0e0ffa01090a01610a0162120163");
}

TEST(GoldenBytes, RenewAuthority) {
  ExpectGolden(Identified<RenewAuthorityMsg>(), "000000173a150a10000102030405060708090a0b0c0d0e0f820200");
}

TEST(GoldenBytes, MoveAuthority) {
  auto message = Identified<MoveAuthorityMsg>();
  message.m_Keys = "k";
  ExpectGolden(message, "0000001a3a180a10000102030405060708090a0b0c0d0e0f8a02030a016b");
}

TEST(GoldenBytes, RenewMaster) {
  ExpectGolden(Identified<RenewMasterMsg>(), "000000173a150a10000102030405060708090a0b0c0d0e0f920200");
}

TEST(GoldenBytes, Restore) {
  auto message = Identified<RestoreMsg>();
  message.m_Name = "n";
  message.m_Hosts = {"h"};
  message.m_Revoked = {"a", "b"};
  message.m_Accept = true;
  ExpectGolden(message, "000000253a230a10000102030405060708090a0b0c0d0e0f9a020e0a016e1201681a01611a01622001");
}

TEST(GoldenBytes, Hello) {
  wire::Frame frame;
  wire::Hello& hello = *frame.mutable_hello();
  hello.set_protocol_version(wire::k_ProtocolVersion);
  hello.set_client_id(wire::IdentifierBytes(k_GoldenId));
  hello.set_kind(3);
  hello.set_name("setwright@host");
  hello.set_version(0x01000000);
  hello.set_products_digest("\xaa");
  EXPECT_EQ(
      ToHex(wire::Encode(frame)),
      "000000300a2e08011210000102030405060708090a0b0c0d0e0f1803220e73657477726967687440686f73742880808008"
      "3201aa");
  hello.set_lowest_version(1);
  hello.set_highest_version(2);
  EXPECT_EQ(
      ToHex(wire::Encode(frame)),
      "000000340a3208011210000102030405060708090a0b0c0d0e0f1803220e73657477726967687440686f73742880808008"
      "3201aa38014002");
}

TEST(GoldenBytes, Welcome) {
  wire::Frame frame;
  wire::Welcome& welcome = *frame.mutable_welcome();
  welcome.set_protocol_version(wire::k_ProtocolVersion);
  welcome.set_id(wire::IdentifierBytes(k_GoldenId));
  welcome.set_name("farm");
  welcome.set_version(0x0102002a);
  welcome.set_released(1769817600000);
  welcome.set_started(1769864645678);
  welcome.set_default_idle_timeout(5);
  welcome.set_message("Hi");
  EXPECT_EQ(
      ToHex(wire::Encode(frame)),
      "00000035123308011210000102030405060708090a0b0c0d0e0f1a046661726d20aa8088082880e0e58ac13330ae989da1c1"
      "33380542024869");
  welcome.set_lowest_version(1);
  welcome.set_highest_version(2);
  EXPECT_EQ(
      ToHex(wire::Encode(frame)),
      "00000039123708011210000102030405060708090a0b0c0d0e0f1a046661726d20aa8088082880e0e58ac13330ae989da1c1"
      "3338054202486948015002");
}

TEST(GoldenBytes, PingAndPong) {
  wire::Frame frame;
  frame.mutable_ping();
  EXPECT_EQ(ToHex(wire::Encode(frame)), "000000021a00");
  frame.mutable_pong();
  EXPECT_EQ(ToHex(wire::Encode(frame)), "000000022200");
}

TEST(GoldenBytes, Goodbye) {
  wire::Frame frame;
  frame.mutable_goodbye()->set_reason(wire::Goodbye::PROTOCOL_ERROR);
  frame.mutable_goodbye()->set_text("why");
  EXPECT_EQ(ToHex(wire::Encode(frame)), "000000092a0708031203776879");
}

TEST(GoldenBytes, Products) {
  wire::Frame frame;
  wire::ToWire(Product(k_Type, "Name", {"n"}, "{}"), *frame.mutable_products()->add_products());
  frame.mutable_products()->set_unchanged(true);
  EXPECT_EQ(ToHex(wire::Encode(frame)),
            "0000002532230a1f0a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff12044e616d651a016e22027b7d1001");
}

TEST(GoldenBytes, Answer) {
  wire::Frame frame;
  frame.mutable_answer()->set_id(wire::IdentifierBytes(k_GoldenId));
  frame.mutable_answer()->set_outcome(wire::Answer::REFUSED);
  frame.mutable_answer()->set_reason("no");
  EXPECT_EQ(ToHex(wire::Encode(frame)), "0000001a42180a10000102030405060708090a0b0c0d0e0f10021a026e6f");
}

TEST(GoldenBytes, NumbersOfReasonsAndOutcomesAreFixed) {
  EXPECT_EQ(wire::Goodbye::REJECTED, 1);
  EXPECT_EQ(wire::Goodbye::PROTOCOL_VERSION, 2);
  EXPECT_EQ(wire::Goodbye::PROTOCOL_ERROR, 3);
  EXPECT_EQ(wire::Goodbye::ENDING, 4);
  EXPECT_EQ(wire::Goodbye::BUSY, 5);
  EXPECT_EQ(wire::Answer::UNKNOWN, 0);
  EXPECT_EQ(wire::Answer::COMMITTED, 1);
  EXPECT_EQ(wire::Answer::REFUSED, 2);
}

} // namespace
