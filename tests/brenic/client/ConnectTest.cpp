#include "ClientTest.h"

namespace brenic {
namespace {

using testing::HasSubstr;
using testing::SizeIs;
using testing::UnorderedElementsAre;

std::vector<std::string> ProductNames() {
  std::vector<std::string> names;
  for (const auto& product : JobFactory::s_JobFactory.Products())
    names.push_back(product->Name().str());
  return names;
}

TEST_F(ClientTest, HelloNamesTheClient) {
  m_App.m_OnProducts = [this] { m_App.Stop(); };
  EXPECT_EQ(Run(), 0);
  const auto frames = m_Master.Frames();
  ASSERT_THAT(frames, SizeIs(1));
  const wire::Hello& hello = frames[0].hello();
  EXPECT_EQ(hello.protocol_version(), wire::k_ProtocolVersion);
  EXPECT_EQ(wire::Identifier(hello.client_id()), m_App.m_ClientId);
  EXPECT_EQ(hello.kind(), 3u);
  EXPECT_EQ(hello.name(), "tester@here");
  EXPECT_NE(hello.version(), 0u);
  EXPECT_EQ(hello.products_digest(), "");
}

TEST_F(ClientTest, WelcomeSetsConnectedTimeAndMasterInfo) {
  EXPECT_TRUE(Messenger::ConnectedTime().IsZero());
  EXPECT_FALSE(Messenger::MasterInfo());
  m_App.m_OnProducts = [this] {
    EXPECT_FALSE(Messenger::ConnectedTime().IsZero());
    const auto info = Messenger::MasterInfo();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->m_ID, m_Master.m_Id);
    EXPECT_EQ(info->m_Name, String("the fake"));
    EXPECT_EQ(info->m_Version, 0x01020003u);
    EXPECT_EQ(info->m_Released, Time(1000));
    EXPECT_EQ(info->m_Started, Time(2000));
    EXPECT_EQ(info->m_DefaultIdleTimeout, 7u);
    EXPECT_EQ(info->m_Message, String("hello there"));
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_App.m_ProductsSeen, 1);
}

TEST_F(ClientTest, ConnectedTimeStaysThatOfTheFirstConnection) {
  m_Master.m_Plans = {Plan{}};
  Time first;
  m_App.m_OnProducts = [&] {
    first = Messenger::ConnectedTime();
    m_Master.Post([](Link& link) { link.Close(); });
  };
  m_App.m_OnPass = [&] { return m_Master.Frames().size() < 2; };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Messenger::ConnectedTime(), first);
}

TEST_F(ClientTest, ProductsAreInPlaceAsAWholeWhenTheyAreAnnounced) {
  std::vector<size_t> before;
  m_App.m_OnPass = [&] {
    if (m_App.m_ProductsSeen == 0)
      before.push_back(ProductNames().size());
    return m_App.m_ProductsSeen == 0;
  };
  m_App.m_OnProducts = [] { EXPECT_THAT(ProductNames(), UnorderedElementsAre("one", "two")); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_App.m_ProductsSeen, 1);
  EXPECT_THAT(before, testing::Each(0u));
}

TEST_F(ClientTest, ProductsAreAnnouncedOncePerRunButReplacedAfterAReconnect) {
  m_App.m_OnProducts = [this] {
    m_Master.Post([this](Link& link) {
      m_Master.m_ProductNames = {"three"};
      link.Close();
    });
  };
  m_App.m_OnPass = [] { return ProductNames() != std::vector<std::string>{"three"}; };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_App.m_ProductsSeen, 1);
  EXPECT_THAT(ProductNames(), UnorderedElementsAre("three"));
}

TEST_F(ClientTest, TheDigestIsSentAgainAndUnchangedKeepsTheList) {
  Plan second;
  second.m_Unchanged = true;
  m_Master.m_Plans = {Plan{}, second};
  UID request;
  m_App.m_OnProducts = [&] {
    request = SendNew(Write());
    EXPECT_TRUE(Messenger::WaitForSent(request, 30));
    m_Master.Post([](Link& link) { link.Close(); });
  };
  // A read that is answered on the second connection comes behind its product list.
  UID read{false};
  m_App.m_OnPass = [&] {
    if (m_Master.Connections() < 2)
      return true;
    if (read.IsNull())
      read = SendNew(Read());
    return m_App.m_Options.empty();
  };
  EXPECT_EQ(Run(), 0);
  const auto frames = m_Master.Frames();
  ASSERT_GE(frames.size(), 3u);
  EXPECT_EQ(frames[2].hello().products_digest(), "digest-1");
  EXPECT_THAT(ProductNames(), UnorderedElementsAre("one", "two"));
  EXPECT_EQ(m_App.m_ProductsSeen, 1);
}

TEST_F(ClientTest, AListThatWasCutOffIsNotKept) {
  Plan first;
  first.m_HoldProducts = true;
  m_Master.m_Plans = {first, Plan{}};
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (link.m_Number > 1)
      return m_Master.Serve(link, request);
    wire::Frame part;
    wire::ToWire(brenic::Product(UID(true), "half", {}, "{}"), *part.mutable_products()->add_products());
    link.Send(part);
    link.Close();
  };
  bool sent = false;
  m_App.m_OnPass = [&] {
    if (!std::exchange(sent, true))
      SendNew(Write());
    return m_App.m_ProductsSeen == 0;
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 2);
  EXPECT_THAT(ProductNames(), UnorderedElementsAre("one", "two"));
  EXPECT_EQ(m_Master.Frames()[2].hello().products_digest(), "");
}

// --- attempts ---

struct FinalCase {
  const char* m_Name;
  Plan m_Plan;
  const char* m_Line;
};

class FinalTest : public ClientTest, public testing::WithParamInterface<FinalCase> {};

TEST_P(FinalTest, EndsAtOnceWithOneLine) {
  m_Master.m_Plans = {GetParam().m_Plan};
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Master.Connections(), 1);
  EXPECT_EQ(m_Lines, std::string(GetParam().m_Line) + "\n");
  EXPECT_EQ(m_App.m_ProductsSeen, 0);
}

Plan WithGoodbye(wire::Goodbye::Reason reason) {
  Plan plan;
  plan.m_Goodbye = reason;
  return plan;
}
Plan WithGarbage(const std::string& bytes) {
  Plan plan;
  plan.m_Garbage = bytes;
  return plan;
}
Plan WithVersion(unsigned version) {
  Plan plan;
  plan.m_Version = version;
  return plan;
}
Plan Refused(const char* text, bool final) {
  Plan plan;
  plan.m_Refuse = ConnectFailure{text, final};
  return plan;
}
std::string AnswerBeforeWelcome() {
  wire::Frame frame;
  frame.mutable_answer();
  return wire::Encode(frame);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FinalTest,
    testing::Values(
        FinalCase{"Rejected", WithGoodbye(wire::Goodbye::REJECTED),
                  "The Master at fake:1 does not let this client in: because of the test"},
        FinalCase{"VersionGoodbye", WithGoodbye(wire::Goodbye::PROTOCOL_VERSION),
                  "The Master at fake:1 closed the connection: because of the test; use a release of this "
                  "program that goes with the Master's"},
        FinalCase{
            "ProtocolError", WithGoodbye(wire::Goodbye::PROTOCOL_ERROR),
            "The Master at fake:1 closed the connection: because of the test; compare the versions of this "
            "program and of the Master"},
        FinalCase{
            "Version", WithVersion(9),
            "The Master at fake:1 answers in version 9 of the protocol; it speaks version 9, this program "
            "version 1; use a release of this program that goes with the Master's"},
        FinalCase{"FinalFailure", Refused("bad certificate", true),
                  "Cannot connect to the Master at fake:1: bad certificate"},
        FinalCase{
            "TooLarge", WithGarbage(std::string("\4\0\0\1", 4)),
            "The Master at fake:1 does not keep to the protocol: received a frame of 67108865 bytes, where "
            "67108864 are allowed; check that the address and port are a Master's, and compare the versions "
            "of this program and of the Master"},
        FinalCase{
            "Undecodable", WithGarbage(std::string("\0\0\0\2\xff\xff", 6)),
            "The Master at fake:1 does not keep to the protocol: received a frame that cannot be decoded; "
            "check that the address and port are a Master's, and compare the versions of this program and of "
            "the Master"},
        FinalCase{
            "NoWelcome", WithGarbage(AnswerBeforeWelcome()),
            "The Master at fake:1 does not keep to the protocol: received a frame before the welcome; "
            "check that the address and port are a Master's, and compare the versions of this program and of "
            "the Master"}),
    [](const auto& info) { return info.param.m_Name; });

TEST_F(ClientTest, AMalformedFrameIsAnsweredWithAGoodbyeThatSaysWhy) {
  m_Master.m_Plans = {WithGarbage(std::string("\0\0\0\2\xff\xff", 6))};
  EXPECT_EQ(Run(), 3);
  const auto frames = m_Master.Frames();
  ASSERT_THAT(frames, SizeIs(2));
  EXPECT_EQ(frames[1].goodbye().reason(), wire::Goodbye::PROTOCOL_ERROR);
  EXPECT_EQ(frames[1].goodbye().text(), "received a frame that cannot be decoded");
}

TEST_F(ClientTest, RefusedAttemptsAreRepeatedAndReportedOnceForTheSameReason) {
  m_Master.m_Plans = {Refused("Connection refused", false), Refused("Connection refused", false),
                      Refused("No route", false), Refused("No route", false), Plan{}};
  m_App.m_OnProducts = [this] { m_App.Stop(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 5);
  EXPECT_EQ(m_Lines,
            "Cannot connect to the Master at fake:1: Connection refused; trying again until it answers "
            "(Ctrl-C ends this)\n"
            "Cannot connect to the Master at fake:1: No route; trying again until it answers (Ctrl-C "
            "ends this)\n");
}

TEST_F(ClientTest, AMasterThatEndsOrIsBusyIsTriedAgain) {
  m_Master.m_Plans = {WithGoodbye(wire::Goodbye::ENDING), WithGoodbye(wire::Goodbye::BUSY), Plan{}};
  m_App.m_OnProducts = [this] { m_App.Stop(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 3);
}

TEST_F(ClientTest, ASilentMasterIsGivenUpAfterTheAttemptsTimeAndTriedAgain) {
  Plan silent;
  silent.m_Silent = true;
  m_Master.m_Plans = {silent, Plan{}};
  m_App.m_Timing.m_Attempt = std::chrono::milliseconds(20);
  m_App.m_OnProducts = [this] { m_App.Stop(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_GE(m_Master.Connections(), 2);
  EXPECT_THAT(m_Lines, HasSubstr("Cannot connect to the Master at fake:1: no answer within 0.02 s; check the "
                                 "address and port, and that the Master runs; trying again"));
}

TEST_F(ClientTest, ConnectTimeoutEndsTheRunWithTheLastReason) {
  m_Master.m_Plans = {Refused("Connection refused", false)};
  m_App.m_ConnectTimeout = std::chrono::milliseconds(30);
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Lines,
            "Cannot connect to the Master at fake:1: Connection refused; trying again for up to 0.03 s\n"
            "No connection to the Master at fake:1 within 0.03 s: Connection refused\n");
}

TEST_F(ClientTest, ConnectTimeoutWithinTheFirstAttemptSaysWhatToDo) {
  Plan silent;
  silent.m_Silent = true;
  m_Master.m_Plans = {silent};
  m_App.m_ConnectTimeout = std::chrono::milliseconds(30);
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Lines,
            "No connection to the Master at fake:1 within 0.03 s: no answer; check the address and port, "
            "and that the Master runs\n");
}

TEST_F(ClientTest, ConnectTimeoutDoesNotEndARunThatIsConnected) {
  m_App.m_ConnectTimeout = std::chrono::milliseconds(300);
  bool waited = false;
  m_App.m_OnPass = [&] {
    if (m_App.m_ProductsSeen > 0 && !waited) {
      EXPECT_FALSE(Messenger::WaitForSent(UID(true), 0.4F)); // longer than the timeout
      waited = true;
    }
    return !waited;
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Lines, "");
}

} // namespace
} // namespace brenic
