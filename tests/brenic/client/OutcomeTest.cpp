#include "ClientTest.h"

namespace brenic {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class OutcomeTest : public ClientTest {
protected:
  void AnswerWith(wire::Answer::Outcome outcome) {
    m_Master.m_OnRequest = [this, outcome](Link& link, const wire::Envelope& request) {
      m_Master.Answer(link, request.id(), outcome, "because");
    };
  }
  /// Pushes the message once the request has arrived, before anything else is done with it.
  void PushShutdown(Link& link) { m_Master.Push(link, *MessageFactory::Create<ShutdownMsg>()); }
};

TEST_F(OutcomeTest, ARefusalIsReportedTheRunGoesOnAndItsStatusIsOne) {
  AnswerWith(wire::Answer::REFUSED);
  int passes = 0;
  m_App.m_OnProducts = [&] {
    const UID id = SendNew(Write());
    EXPECT_TRUE(Messenger::WaitForSent(id, 30)); // refused is answered
    passes = 1;
  };
  m_App.m_OnPass = [&] { return passes == 0; };
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(m_App.m_Failures, ElementsAre(String("The Master refused to set options: because")));
  EXPECT_EQ(m_Lines, "The Master refused to set options: because\n");
}

TEST_F(OutcomeTest, ARefusedShutdownEndsTheLoopOnceNothingIsOutstanding) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (request.has_shutdown())
      return m_Master.Answer(link, request.id(), wire::Answer::REFUSED, "no");
    m_Master.Serve(link, request);
  };
  m_App.m_OnProducts = [] {
    SendNew(MessageFactory::Create<ShutdownMsg>());
    SendNew(Read());
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(m_App.m_Options, SizeIs(1));
  EXPECT_THAT(m_App.m_Failures, ElementsAre(String("The Master refused to shut the system down: no")));
}

TEST_F(OutcomeTest, AnotherRefusalDoesNotEndTheLoop) {
  AnswerWith(wire::Answer::REFUSED);
  m_App.m_OnProducts = [] { SendNew(Write()); };
  int idle = 0; // passes after the refusal
  m_App.m_OnPass = [&] {
    if (!m_App.m_Failures.empty())
      ++idle;
    return idle < 2;
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(idle, 2);
}

TEST_F(OutcomeTest, AnUnknownOutcomeIsReportedAndItsStatusGoesBeforeARefusal) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Answer(link, request.id(), request.has_machine() ? wire::Answer::UNKNOWN : wire::Answer::REFUSED,
                    "because");
  };
  m_App.m_OnProducts = [this] {
    SendNew(Write());
    SendNew(MessageFactory::Create<MachineMsg>());
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 4);
  EXPECT_THAT(m_Lines,
              HasSubstr("It is unknown whether the Master did reboot or shut down its machine: because\n"));
}

TEST_F(OutcomeTest, AReadThatIsConfirmedWithoutItsReplyIsAnError) {
  AnswerWith(wire::Answer::COMMITTED);
  m_App.m_OnProducts = [this] {
    const UID id = SendNew(Read());
    EXPECT_TRUE(Messenger::WaitForSent(id, 30));
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(m_Lines, "The Master did not tell its options: it confirmed the request without a reply\n");
}

TEST_F(OutcomeTest, AConnectionThatEndsWithNothingPendingGivesThree) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Serve(link, request);
    m_Master.Goodbye(link, wire::Goodbye::REJECTED);
  };
  m_App.m_OnProducts = [] { SendNew(Write()); };
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Lines, "The Master at fake:1 does not let this client in any more: because of the test\n");
}

TEST_F(OutcomeTest, AConnectionThatEndsWithSomethingPendingGivesFourAndOneLine) {
  Plan plan;
  plan.m_GoodbyeLater = wire::Goodbye::REJECTED;
  m_Master.m_Plans = {plan};
  m_App.m_OnProducts = [] { SendNew(Write()); };
  EXPECT_EQ(Run(), 4);
  EXPECT_EQ(m_Lines,
            "The Master at fake:1 does not let this client in any more: because of the test. The outcome of "
            "1 request(s) is unknown: look before you repeat them\n");
  EXPECT_EQ(m_Master.Connections(), 1);
}

TEST_F(OutcomeTest, AClientThatIsNotLetInAgainDoesNotGoOnTrying) {
  Plan dropped, refused;
  dropped.m_GoodbyeLater = wire::Goodbye::ENDING;
  refused.m_Goodbye = wire::Goodbye::REJECTED;
  m_Master.m_Plans = {dropped, refused};
  m_App.m_OnProducts = [] { SendNew(Write()); };
  EXPECT_EQ(Run(), 4);
  EXPECT_THAT(m_Lines,
              testing::EndsWith("\nThe Master at fake:1 does not let this client in any more: because of "
                                "the test. The outcome of 1 request(s) is unknown: look before you "
                                "repeat them\n"));
  EXPECT_EQ(m_Master.Connections(), 2);
}

TEST_F(OutcomeTest, AClientThatIsDroppedWhileItWaitsForTheProductsEndsWithThree) {
  Plan plan;
  plan.m_HoldProducts = true;
  m_Master.m_Plans = {plan};
  bool asked = false;
  m_App.m_OnPass = [&] {
    if (!Messenger::ConnectedTime().IsZero() && !std::exchange(asked, true))
      m_Master.Post([this](Link& link) { m_Master.Goodbye(link, wire::Goodbye::REJECTED); });
    return true;
  };
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Lines, "The Master at fake:1 does not let this client in any more: because of the test\n");
  EXPECT_EQ(m_Master.Connections(), 1);
}

// --- the system shuts down ---

TEST_F(OutcomeTest, AClientThatHearsOfTheShutdownFinishesWhatIsOutstandingAndEndsWithZero) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    PushShutdown(link);
    m_Master.Serve(link, request);
  };
  m_App.m_OnProducts = [] { SendNew(Read()); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_App.m_Options, SizeIs(1));
  EXPECT_EQ(m_Lines, "");
}

TEST_F(OutcomeTest, TheEndOfTheStreamBehindAShutdownIsNoError) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Serve(link, request);
    PushShutdown(link);
    link.Close();
  };
  m_App.m_OnProducts = [] { SendNew(Read()); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 1);
  EXPECT_EQ(m_Lines, "");
}

TEST_F(OutcomeTest, AShutdownThatLeavesARequestUnansweredGivesFour) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope&) {
    PushShutdown(link);
    link.Close();
  };
  m_App.m_OnProducts = [] { SendNew(Write()); };
  EXPECT_EQ(Run(), 4);
  EXPECT_EQ(m_Master.Connections(), 1);
}

TEST_F(OutcomeTest, AReplyBeforeTheEndOfAShutdownCountsAsAnswered) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Reply(link, request);
    PushShutdown(link);
    link.Close();
  };
  m_App.m_OnProducts = [] { SendNew(Read()); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_App.m_Options, SizeIs(1));
}

TEST_F(OutcomeTest, AShutdownBeforeTheProductsGivesThreeAndALine) {
  Plan plan;
  plan.m_HoldProducts = true;
  m_Master.m_Plans = {plan};
  bool posted = false;
  m_App.m_OnPass = [&] {
    if (!Messenger::ConnectedTime().IsZero() && !std::exchange(posted, true))
      m_Master.Post([this](Link& link) { PushShutdown(link); });
    return true;
  };
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Lines, "The Master is shutting down; nothing was asked of it\n");
}

TEST_F(OutcomeTest, OnesOwnCommittedShutdownEndsWithZeroWhenTheMasterCloses) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Serve(link, request);
    link.Close();
  };
  m_App.m_OnProducts = [] { SendNew(MessageFactory::Create<ShutdownMsg>()); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 1);
  EXPECT_EQ(m_Lines, "");
}

TEST_F(OutcomeTest, AnUnansweredShutdownIsNotTakenForACommittedOne) {
  m_Master.m_OnRequest = [](Link& link, const wire::Envelope&) { link.Close(); };
  m_App.m_OnProducts = [] { SendNew(MessageFactory::Create<ShutdownMsg>()); };
  EXPECT_EQ(Run(), 4);
}

// --- the end of a run ---

TEST_F(OutcomeTest, TheEndWaitsForAnswersAndDeliversNothingToSlots) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (m_Master.Requests(1).size() == 2) {
      m_Master.Serve(link, request);
      m_Master.Push(link, *MessageFactory::Create<LogDumpMsg>());
      for (const auto& earlier : m_Master.Frames()) {
        if (earlier.has_message() && earlier.message().id() != request.id())
          m_Master.Serve(link, earlier.message());
      }
    }
  };
  UID read, write;
  m_App.m_OnProducts = [&] {
    read = SendNew(Read());
    write = SendNew(Write());
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(m_App.m_Options.empty());
  EXPECT_TRUE(m_App.m_Unhandled.empty());
  EXPECT_TRUE(Messenger::WaitForSent(read, 0));
  EXPECT_TRUE(Messenger::WaitForSent(write, 0));
}

TEST_F(OutcomeTest, TheEndWaitsAlsoAcrossAReconnect) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (link.m_Number == 1)
      return link.Close();
    m_Master.Serve(link, request);
  };
  UID id;
  m_App.m_OnProducts = [&] {
    id = SendNew(Write());
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 2);
  EXPECT_TRUE(Messenger::WaitForSent(id, 0));
}

TEST_F(OutcomeTest, ARefusalThatArrivesDuringTheEndIsReported) {
  AnswerWith(wire::Answer::REFUSED);
  m_App.m_OnProducts = [this] {
    SendNew(MessageFactory::Create<MachineMsg>());
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(m_Lines, "The Master refused to reboot or shut down its machine: because\n");
}

TEST_F(OutcomeTest, TheEndDoesNotWaitForThePeerToClose) {
  m_App.m_OnProducts = [this] { m_App.Stop(); };
  EXPECT_EQ(Run(), 0); // the fake Master never closes
  EXPECT_EQ(m_Master.Closed(), 1);
}

TEST_F(OutcomeTest, TheEndGivesUpWhenTheConnectionHasEnded) {
  Plan plan;
  plan.m_GoodbyeLater = wire::Goodbye::PROTOCOL_ERROR;
  m_Master.m_Plans = {plan};
  m_App.m_OnProducts = [this] {
    SendNew(Write());
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 4);
}

} // namespace
} // namespace brenic
