// What a session does with peers that break the protocol or ask for too much.
#include <csignal>

#include <fmt/core.h>
#include <gmock/gmock.h>

#include "brenic/Options.h"
#include "brenic/PathTranslationsMsg.h"
#include "farm/Samples.h"
#include "serve/TestFarm.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class SessionLimitsTest : public testing::Test {
protected:
  SessionLimitsTest() { m_Farm.Serve(); }

  static void ExpectGoodbye(TestClient& client, wire::Goodbye::Reason reason, const std::string& text) {
    const wire::Frame frame = client.ReceiveOnly(wire::Frame::kGoodbye);
    EXPECT_EQ(frame.goodbye().reason(), reason);
    EXPECT_THAT(frame.goodbye().text(), HasSubstr(text));
    EXPECT_FALSE(client.Receive());
  }

  TestFarm m_Farm;
};

TEST_F(SessionLimitsTest, AMalformedFrameEndsTheConnectionWithAReason) {
  TestClient client = m_Farm.Join();
  client.SendBytes(std::string("\0\0\0\3\xff\xff\xff", 7));
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "cannot be decoded");
}

TEST_F(SessionLimitsTest, ARequestWithoutAProperIdentifierEndsTheConnection) {
  for (const std::string& id : {std::string(), std::string("short"), std::string(16, '\0')}) {
    TestClient client = m_Farm.Join();
    wire::Frame frame;
    frame.mutable_message()->set_id(id);
    frame.mutable_message()->mutable_log_dump();
    client.Send(frame);
    ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "identifier");
  }
}

TEST_F(SessionLimitsTest, AFrameThatOnlyTheMasterSendsEndsTheConnection) {
  TestClient client = m_Farm.Join();
  wire::Frame frame;
  frame.mutable_answer();
  client.Send(frame);
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "a client does not send");
}

TEST_F(SessionLimitsTest, ALargeFrameBeforeTheWelcomeEndsTheConnection) {
  TestClient client = m_Farm.Connect();
  client.SendBytes(std::string("\0\1\0\1", 4)); // 65537 bytes are announced
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "65537 bytes, where 65536 are allowed");
}

TEST_F(SessionLimitsTest, ALargeFrameAfterTheWelcomeIsTaken) {
  TestClient client = m_Farm.Join();
  EXPECT_EQ(client.Ask(*SetOption("UserLimits", String(std::string(15'000'000, 'x')))).outcome(),
            wire::Answer::COMMITTED);
}

TEST_F(SessionLimitsTest, AFrameBeyondTheLimitEndsTheConnection) {
  TestClient client = m_Farm.Join();
  client.SendBytes(std::string("\4\0\0\1", 4));
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "67108865 bytes");
}

TEST_F(SessionLimitsTest, ARequestBeforeHelloEndsTheConnection) {
  TestClient client = m_Farm.Connect();
  client.Request(*SetOption("a", "1"));
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "Hello is expected");
  EXPECT_TRUE(m_Farm.Audit().empty());
}

TEST_F(SessionLimitsTest, NothingButHelloIsTakenBeforeIt) {
  wire::Frame ping, pong;
  ping.mutable_ping();
  pong.mutable_pong();
  for (const std::string& bytes : {wire::Encode(ping), wire::Encode(pong), std::string(4, '\0')}) {
    TestClient client = m_Farm.Connect();
    client.SendBytes(bytes);
    ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "Hello is expected");
  }
}

TEST_F(SessionLimitsTest, ALargeFrameOfAComponentEndsTheConnection) {
  TestClient client = m_Farm.ConnectTls(m_Farm.Issue("node", "component"));
  client.Greet();
  client.SendBytes(std::string("\0\1\0\1", 4));
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "65537 bytes, where 65536 are allowed");
}

TEST_F(SessionLimitsTest, ARequestOfAComponentIsNotDecodedUnlessItIsSmall) {
  for (const String& value : {String("small"), String(std::string(5000, 'x'))}) {
    TestClient client = m_Farm.ConnectTls(m_Farm.Issue(fmt::format("node{}", value.size()), "component"));
    client.Greet();
    EXPECT_EQ(client.Ask(*SetOption("a", value)).outcome(), wire::Answer::REFUSED);
  }
  const auto audit = m_Farm.Audit();
  ASSERT_EQ(audit.size(), 2u);
  EXPECT_EQ(audit[0]["message"]["m_Options"]["a"], "small");
  EXPECT_EQ(audit[1]["message"]["class"], "SetMasterOptionsMsg");
  EXPECT_GT(audit[1]["message"]["size"], 5000);
  EXPECT_FALSE(audit[1]["message"].contains("m_Options"));
}

TEST_F(SessionLimitsTest, RequestsOfAComponentAreAllRefusedAndLeaveTwoRecords) {
  constexpr int k_Requests = 300;
  TestClient client = m_Farm.ConnectTls(m_Farm.Issue("node", "component"));
  client.Greet();
  const auto first = SetOption("a", "1");
  client.Request(*first);
  for (int i = 1; i < k_Requests; ++i)
    client.Request(*SetOption("a", "1"));
  for (int i = 0; i < k_Requests; ++i)
    ASSERT_EQ(client.NextAnswer().outcome(), wire::Answer::REFUSED) << i;
  ExpectGoodbye(client, wire::Goodbye::UNSPECIFIED, "may not send requests");
  EXPECT_EQ(m_Farm.Audit().size(), 1u);

  m_Farm.Signal(SIGTERM);
  EXPECT_EQ(m_Farm.Wait(), 0);
  const auto audit = m_Farm.Audit();
  ASSERT_EQ(audit.size(), 2u);
  EXPECT_EQ(audit[0]["message"]["id"], first->m_ID.ToString().str());
  EXPECT_THAT(audit[1]["reason"], HasSubstr("stands for 299 requests"));
  EXPECT_EQ(audit[1]["client"]["name"], "node");
}

TEST_F(SessionLimitsTest, RepliesThatAreNotReadDoNotPileUp) {
  constexpr int k_Requests = 100;
  constexpr size_t k_Value = 16'000'000;
  TestClient client = m_Farm.Join();
  ASSERT_EQ(client.Ask(*SetOption(o_UserLimits, String(std::string(k_Value, 'x')))).outcome(),
            wire::Answer::COMMITTED);
  const auto ask = Make<GetMasterOptionsMsg>([](auto& m) { m.m_OptionNames = {o_UserLimits}; });
  for (int i = 0; i < k_Requests; ++i) {
    ask->m_ID = UID(true);
    client.Request(*ask);
  }
  for (int i = 0; i < k_Requests; ++i) {
    const wire::Frame reply = client.ReceiveOnly(wire::Frame::kMessage);
    ASSERT_EQ(reply.message().set_master_options().options(0).value().size(), k_Value) << i;
  }
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__) // which keep memory that was freed
  EXPECT_LT(m_Farm.MostMemory(), 600'000'000u);
#endif
}

TEST_F(SessionLimitsTest, ManyEmptyNamesAreNotDecoded) {
  constexpr size_t k_Names = 20'000'000;
  TestClient client = m_Farm.Join();
  std::string names;
  for (size_t i = 0; i < k_Names; ++i)
    names.append("\x0a\0", 2);
  const auto field = [](int number, const std::string& bytes) {
    std::string text;
    for (uint64_t part : {static_cast<uint64_t>(number) << 3 | 2, static_cast<uint64_t>(bytes.size())}) {
      for (; part >= 128; part >>= 7)
        text += static_cast<char>(part | 128);
      text += static_cast<char>(part);
    }
    return text + bytes;
  };
  const std::string frame =
      field(7, field(1, wire::IdentifierBytes(UID(true)).substr(0, 16)) + field(17, names));
  std::string length(4, '\0');
  for (size_t i = 0; i < 4; ++i)
    length[i] = static_cast<char>(frame.size() >> (24 - 8 * i));
  client.SendBytes(length + frame);
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "a frame of more than 1048576 entries");
  EXPECT_LT(m_Farm.MostMemory(), 900'000'000u);
}

TEST_F(SessionLimitsTest, TooManyTranslationsAreRefusedWithoutBeingDecoded) {
  TestClient client = m_Farm.Join();
  wire::Frame frame;
  frame.mutable_message()->set_id(wire::IdentifierBytes(UID(true)));
  for (int i = 0; i < 100'001; ++i)
    frame.mutable_message()->mutable_path_translations()->add_translations();
  client.Send(frame);
  const wire::Answer answer = client.NextAnswer();
  EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(answer.reason(), HasSubstr("100001 translations, where 100000 are allowed"));
  const auto message = m_Farm.Audit().at(0)["message"];
  EXPECT_EQ(message["class"], "PathTranslationsMsg");
  EXPECT_GT(message["size"], 200'000);
}

TEST_F(SessionLimitsTest, AnotherVersionOfTheProtocolIsNamed) {
  TestClient client = m_Farm.Connect();
  client.SendHello(99);
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_VERSION, "version 1 of the protocol, the client version 99");
}

wire::Frame HelloWith(uint32_t version, uint32_t lowest, uint32_t highest) {
  wire::Frame frame;
  frame.mutable_hello()->set_protocol_version(version);
  frame.mutable_hello()->set_client_id(wire::IdentifierBytes(UID(true)));
  frame.mutable_hello()->set_lowest_version(lowest);
  frame.mutable_hello()->set_highest_version(highest);
  return frame;
}

TEST_F(SessionLimitsTest, AClientOfTheNextReleaseIsWelcomedInTheVersionThatBothSpeak) {
  for (const uint32_t version : {1, 2}) { // whatever it says to a Master that knows no range
    TestClient client = m_Farm.Connect();
    client.Send(HelloWith(version, 1, 2));
    const wire::Welcome welcome = client.ReceiveOnly(wire::Frame::kWelcome).welcome();
    EXPECT_EQ(welcome.protocol_version(), 1u);
    EXPECT_EQ(welcome.lowest_version(), 1u);
    EXPECT_EQ(welcome.highest_version(), 1u);
  }
}

TEST_F(SessionLimitsTest, AClientWithoutACommonVersionIsToldBothRanges) {
  const struct {
    uint32_t m_Version, m_Lowest, m_Highest;
    const char* m_Words;
  } k_Rows[] = {{2, 2, 2, "version 2"},
                {1, 2, 2, "version 2"},
                {2, 2, 5, "versions 2 to 5"},
                {0, 0, 0, "version 0"},
                {1, 2, 0, "versions 2 to 1"}};
  for (const auto& row : k_Rows) {
    TestClient client = m_Farm.Connect();
    client.Send(HelloWith(row.m_Version, row.m_Lowest, row.m_Highest));
    ExpectGoodbye(client, wire::Goodbye::PROTOCOL_VERSION,
                  std::string("this Master speaks version 1 of the protocol, the client ") + row.m_Words);
  }
}

TEST_F(SessionLimitsTest, ANameThatIsNoTextIsRefused) {
  TestClient client = m_Farm.Connect();
  wire::Frame hello;
  hello.mutable_hello()->set_protocol_version(wire::k_ProtocolVersion);
  hello.mutable_hello()->set_client_id(std::string(16, 'x'));
  hello.mutable_hello()->set_name("half of \xe5\xa4");
  client.Send(hello);
  ExpectGoodbye(client, wire::Goodbye::PROTOCOL_ERROR, "name is not valid UTF-8");
}

TEST_F(SessionLimitsTest, WhoSaysNothingIsSentAway) {
  TestClient client = m_Farm.Connect();
  ExpectGoodbye(client, wire::Goodbye::UNSPECIFIED, "no Hello was received in time");
}

TEST_F(SessionLimitsTest, MoreRequestsThanMayBeOutstandingAreAllAnswered) {
  TestClient client = m_Farm.Join();
  std::string bytes;
  constexpr int k_Requests = 5000;
  for (int i = 0; i < k_Requests; ++i) {
    wire::Frame frame;
    wire::ToWire(*SetOption("a", String(std::to_string(i))), *frame.mutable_message());
    bytes += wire::Encode(frame);
  }
  client.SendBytes(bytes);
  for (int i = 0; i < k_Requests; ++i)
    ASSERT_EQ(client.NextAnswer().outcome(), wire::Answer::COMMITTED);
}

TEST_F(SessionLimitsTest, ASlowReaderGetsTheNewestTranslationsOnly) {
  TestClient slow = m_Farm.Join();
  TestClient writer = m_Farm.Join();
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  constexpr int k_Writes = 6; // more would take longer than a client may be silent
#else
  constexpr int k_Writes = 30;
#endif
  for (int i = 1; i <= k_Writes; ++i) {
    // About 8 MiB each: far more than the connection's buffers hold, and 30 of them more than may be queued.
    const auto message = Make<PathTranslationsMsg>([&](auto& m) {
      m.m_Translations.resize(2100);
      for (auto& translation : m.m_Translations)
        translation[1] = Path(std::string(4000, static_cast<char>('A' + i)));
    });
    ASSERT_EQ(writer.Ask(*message).outcome(), wire::Answer::COMMITTED);
  }
  int pushes = 0;
  for (char newest = 0; newest != 'A' + k_Writes; ++pushes)
    newest = slow.ReceiveOnly(wire::Frame::kMessage)
                 .message()
                 .path_translations()
                 .translations(0)
                 .roots(0)
                 .root()[0];
  EXPECT_LT(pushes, k_Writes);
}

} // namespace
} // namespace brenic::master
