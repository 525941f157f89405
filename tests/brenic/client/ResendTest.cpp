#include "ClientTest.h"

namespace brenic {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

TEST_F(ClientTest, WhatIsUnansweredIsSentAgainByteForByteInOrderAndBeforeNewRequests) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (link.m_Number > 1)
      return m_Master.Serve(link, request);
    if (m_Master.Requests(1).size() == 1)
      return m_Master.Serve(link, request);
    if (m_Master.Requests(1).size() == 4)
      link.Close();
  };
  UID last;
  bool sentNew = false;
  m_App.m_OnProducts = [] {
    for (const char* value : {"0", "1", "2", "3"})
      SendNew(Write(value));
  };
  m_App.m_OnPass = [&] {
    if (m_Master.Connections() < 2)
      return true;
    if (!std::exchange(sentNew, true))
      last = SendNew(Write("new"));
    return !Messenger::WaitForSent(last, 0.25F);
  };
  EXPECT_EQ(Run(), 0);
  const auto first = m_Master.Requests(1);
  const auto second = m_Master.Requests(2);
  ASSERT_THAT(first, SizeIs(4));
  ASSERT_THAT(second, SizeIs(4));
  EXPECT_EQ(std::vector(second.begin(), second.end() - 1), std::vector(first.begin() + 1, first.end()));
  EXPECT_THAT(m_Lines,
              HasSubstr("Lost the connection to the Master at fake:1: the connection was closed by the "
                        "other side; connecting again for up to 30 s\n"));
}

TEST_F(ClientTest, ARequestWhoseReplyArrivedIsNotSentAgainAndCountsAsAnswered) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Apply(request);
    m_Master.Reply(link, request, "once");
    m_Master.Reply(link, request, "twice"); // dropped
    link.Close();
  };
  bool sent = false;
  m_App.m_OnPass = [&] {
    if (m_App.m_ProductsSeen == 0)
      return true;
    if (!std::exchange(sent, true)) {
      const UID id = SendNew(Read());
      EXPECT_TRUE(Messenger::WaitForSent(id, 30));
      EXPECT_EQ(m_App.m_Options.size(), 1u);
    }
    return m_Master.Connections() < 2;
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_App.m_Options, SizeIs(1));
  EXPECT_THAT(m_Master.Requests(2), SizeIs(0));
}

TEST_F(ClientTest, ARequestWhoseReplyArrivedIsAnsweredAlsoWhenTheConnectionEndsForGood) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Reply(link, request);
    m_Master.Goodbye(link, wire::Goodbye::PROTOCOL_ERROR);
  };
  bool answered = false;
  m_App.m_OnPass = [&] {
    if (m_App.m_ProductsSeen > 0 && !answered) {
      const UID id = SendNew(Read());
      answered = Messenger::WaitForSent(id, -1);
    }
    return true;
  };
  EXPECT_EQ(Run(), 3);
  EXPECT_TRUE(answered);
}

TEST_F(ClientTest, AReplyThatCannotBeReadDoesNotCountAsAnAnswer) {
  m_Master.m_OnRequest = [](Link& link, const wire::Envelope& request) {
    wire::Frame frame;
    frame.mutable_message()->set_id("short");
    frame.mutable_message()->set_reply_to(request.id());
    frame.mutable_message()->mutable_set_master_options();
    link.Send(frame);
  };
  m_App.m_OnProducts = [] { SendNew(Read()); };
  EXPECT_EQ(Run(), 4);
}

TEST_F(ClientTest, ThreeConnectionsWithoutAnAnswerToTheSameRequestEndTheRun) {
  m_Master.m_OnRequest = [](Link& link, const wire::Envelope&) { link.Close(); };
  m_App.m_OnProducts = [] { SendNew(Write()); };
  EXPECT_EQ(Run(), 4);
  EXPECT_EQ(m_Master.Connections(), 3);
  EXPECT_THAT(m_Lines,
              HasSubstr("The Master at fake:1 closed 3 connections without an answer to the same request. "
                        "The outcome of 1 request(s) is unknown: look before you repeat them\n"));
}

TEST_F(ClientTest, AReplyOnTheThirdConnectionCounts) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (link.m_Number == 3)
      m_Master.Reply(link, request);
    link.Close();
  };
  m_App.m_OnProducts = [] { SendNew(Read()); };
  // The fourth connection may be made before the reply has come to its slot.
  m_App.m_OnPass = [this] { return m_Master.Connections() < 4 || m_App.m_Options.empty(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_App.m_Options, SizeIs(1));
}

TEST_F(ClientTest, AfterALossTheRunIsGivenUpInTime) {
  Plan refused;
  refused.m_Refuse = ConnectFailure{"Connection refused", false};
  m_Master.m_Plans = {Plan{}, refused};
  m_App.m_Timing.m_Restore = std::chrono::milliseconds(30);
  m_App.m_OnProducts = [this] { m_Master.Post([](Link& link) { link.Close(); }); };
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Lines,
            "Lost the connection to the Master at fake:1: the connection was closed by the other side; "
            "connecting again for up to 0.03 s\n"
            "Cannot connect to the Master at fake:1: Connection refused; trying again for up to 0.03 s\n"
            "No connection to the Master at fake:1 within 0.03 s: Connection refused\n");
}

TEST_F(ClientTest, WhatIsUnansweredWhenTheRunIsGivenUpIsUnknown) {
  Plan refused;
  refused.m_Refuse = ConnectFailure{"Connection refused", false};
  m_Master.m_Plans = {Plan{}, refused};
  m_App.m_Timing.m_Restore = std::chrono::milliseconds(30);
  m_App.m_OnProducts = [this] {
    SendNew(Write());
    m_Master.Post([](Link& link) { link.Close(); });
  };
  m_Master.m_OnRequest = [](Link&, const wire::Envelope&) {};
  EXPECT_EQ(Run(), 4);
  EXPECT_THAT(m_Lines,
              HasSubstr("No connection to the Master at fake:1 within 0.03 s: Connection refused. The "
                        "outcome of 1 request(s) is unknown: look before you repeat them\n"));
}

TEST_F(ClientTest, TheLimitOfTheFirstConnectionIsNotThatOfALaterOne) {
  Plan refused;
  refused.m_Refuse = ConnectFailure{"Connection refused", false};
  m_Master.m_Plans = {Plan{}, refused, Plan{}};
  m_App.m_ConnectTimeout = std::chrono::milliseconds(20'000);
  m_App.m_OnProducts = [this] { m_Master.Post([](Link& link) { link.Close(); }); };
  m_App.m_OnPass = [this] { return m_Master.Frames().size() < 2; };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Lines,
            "Lost the connection to the Master at fake:1: the connection was closed by the other side; "
            "connecting again for up to 30 s\n"
            "Cannot connect to the Master at fake:1: Connection refused; trying again for up to 30 s\n");
}

TEST_F(ClientTest, ARequestIsNotSentAgainOnceTheMasterMayHaveForgottenIt) {
  std::atomic<int> uptime{1};
  m_App.m_Timing.m_Uptime = [&] { return std::chrono::seconds(uptime); };
  m_Master.m_OnRequest = [&](Link& link, const wire::Envelope& request) {
    if (link.m_Number > 2)
      return m_Master.Serve(link, request);
    if (m_Master.Requests(link.m_Number).size() < 2)
      return;
    uptime += 8 * 3600; // 16 h when the third connection is made
    link.Close();
  };
  m_App.m_OnProducts = [] {
    SendNew(Write());
    SendNew(Write());
  };
  m_App.m_OnPass = [&, sentNew = false]() mutable {
    if (m_Master.Connections() == 3 && !std::exchange(sentNew, true)) {
      SendNew(Write("new"));
      m_App.Stop();
    }
    return true;
  };
  EXPECT_EQ(Run(), 4);
  EXPECT_THAT(m_Master.Requests(2), SizeIs(2)) << "after 8 h";
  EXPECT_THAT(m_Master.Requests(3), SizeIs(1)) << "the new one";
  EXPECT_THAT(m_Lines,
              HasSubstr("It is unknown whether the Master did set options: its answer was lost, and it was "
                        "sent too long ago to be sent again\n"));
}

TEST_F(ClientTest, ASlowProductListAfterALossIsNotTakenForAMissingConnection) {
  Plan held;
  held.m_HoldProducts = true;
  m_Master.m_Plans = {Plan{}, held};
  m_App.m_Timing.m_Restore = std::chrono::milliseconds(100);
  m_App.m_OnProducts = [this] { m_Master.Post([](Link& link) { link.Close(); }); };
  bool waited = false;
  m_App.m_OnPass = [&] {
    if (m_Master.Frames().size() == 2 && !waited) {
      EXPECT_FALSE(Messenger::WaitForSent(UID(true), 0.3F)); // longer than the time to restore
      waited = true;
    }
    return !waited;
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(waited);
}

TEST_F(ClientTest, AnotherMasterAtTheSameAddressEndsTheRun) {
  Plan other;
  other.m_MasterId = UID(true);
  m_Master.m_Plans = {Plan{}, other};
  m_Master.m_OnRequest = [](Link& link, const wire::Envelope&) { link.Close(); };
  m_App.m_OnProducts = [] { SendNew(Write()); };
  EXPECT_EQ(Run(), 4);
  EXPECT_EQ(m_Master.Connections(), 2);
  EXPECT_THAT(m_Master.Requests(2), SizeIs(0));
  EXPECT_THAT(m_Lines, HasSubstr("The Master at fake:1 is another Master now; check which one runs there. "
                                 "The outcome of 1 request(s) is unknown"));
}

TEST_F(ClientTest, AMasterThatEndsForNowIsFoundAgain) {
  Plan ending;
  ending.m_GoodbyeLater = wire::Goodbye::ENDING;
  m_Master.m_Plans = {ending, Plan{}};
  m_App.m_OnProducts = [this] {
    SendNew(Write());
    m_App.Stop(); // the end of the run waits for the answer, across the loss
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_Master.Requests(2), SizeIs(1));
  EXPECT_THAT(m_Lines,
              HasSubstr("Lost the connection to the Master at fake:1: because of the test; connecting "
                        "again for up to 30 s\n"));
}

TEST_F(ClientTest, AnswersToNobodysRequestAndRepeatedAnswersAreDropped) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Answer(link, wire::IdentifierBytes(UID(true)), wire::Answer::REFUSED, "stray");
    m_Master.Serve(link, request);
    m_Master.Answer(link, request.id(), wire::Answer::REFUSED, "again");
    wire::Envelope unknown = request;
    unknown.set_id(wire::IdentifierBytes(UID(true)));
    m_Master.Reply(link, unknown, "stray");
    m_Master.Push(link, *MessageFactory::Create<LogDumpMsg>());
  };
  m_App.m_OnProducts = [] { SendNew(Read()); };
  m_App.m_OnPass = [this] { return m_App.m_Unhandled.empty(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(m_App.m_Failures.empty());
  EXPECT_THAT(m_App.m_Options, SizeIs(1));
}

} // namespace
} // namespace brenic
