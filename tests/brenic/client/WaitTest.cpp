#include "ClientTest.h"

namespace brenic {
namespace {

using testing::ElementsAre;

class WaitTest : public ClientTest {
protected:
  /// Requests stay unanswered until `Release`.
  void Hold() {
    m_Master.m_OnRequest = [this](Link&, const wire::Envelope& request) { m_Held.push_back(request); };
  }
  void Release() {
    m_Master.Post([this](Link& link) {
      for (const auto& request : std::exchange(m_Held, {}))
        m_Master.Serve(link, request);
    });
  }

  std::vector<wire::Envelope> m_Held; // I/O thread
};

TEST_F(WaitTest, SlotsRunOnTheMainThreadAndInsideAPassOnly) {
  m_Master.m_Translations.emplace();
  m_App.m_OnTranslations = [] {};
  m_App.m_OnProducts = [] { SendNew(Read()); };
  m_App.m_OnOptions = [this] { m_App.Stop(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_App.m_SlotThreads, ElementsAre(std::this_thread::get_id(), std::this_thread::get_id(),
                                               std::this_thread::get_id()));
  EXPECT_FALSE(m_App.m_SlotsOutsidePass);
}

TEST_F(WaitTest, NothingIsDeliveredWhileTheApplicationDoesNotCallTheLoop) {
  m_App.m_OnPass = [this] {
    EXPECT_TRUE(m_Master.WaitForFrames(1)); // its Welcome and products are on their way by now
    EXPECT_EQ(m_App.m_ProductsSeen, 0);
    EXPECT_TRUE(Messenger::ConnectedTime().IsZero());
    EXPECT_TRUE(JobFactory::s_JobFactory.Products().empty());
    return false;
  };
  Run();
}

TEST_F(WaitTest, TheSlotOfAReplyHasRunWhenTheWaitSaysTrue) {
  m_App.m_OnPass = [this] {
    if (m_App.m_ProductsSeen == 0)
      return true;
    const UID id = SendNew(Read());
    EXPECT_TRUE(Messenger::WaitForSent(id, -1));
    EXPECT_EQ(m_App.m_Options.size(), 1u);
    return false;
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_App.m_Options.size(), 1u);
}

TEST_F(WaitTest, AnAnsweredRequestIsTrueAtOnceForEver) {
  m_App.m_OnProducts = [this] {
    const UID id = SendNew(Write());
    EXPECT_TRUE(Messenger::WaitForSent(id, -1));
    EXPECT_TRUE(Messenger::WaitForSent(id, 0));
    m_App.Stop();
    EXPECT_TRUE(Messenger::WaitForSent(id, 0)); // answered goes before ended
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_App.m_ProductsSeen, 1);
}

TEST_F(WaitTest, AWaitEndsInTimeWithFalse) {
  Hold();
  m_App.m_OnProducts = [this] {
    const UID id = SendNew(Write());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Messenger::WaitForSent(id, 0.05F));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    EXPECT_FALSE(Messenger::WaitForSent(id, 0));
    Release();
    EXPECT_TRUE(Messenger::WaitForSent(id, 1e30F)); // beyond any clock: without limit
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
}

TEST_F(WaitTest, AWaitEndsInTimeAlsoWhileMoreKeepsArriving) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Held.push_back(request);
    if (m_Held.size() < 2)
      return;
    for (int i = 0; i < 100; ++i)
      m_Master.Push(link, *MessageFactory::Create<PathTranslationsMsg>());
    m_Master.Serve(link, std::exchange(m_Held, {m_Held[0]}).back());
  };
  UID held;
  m_App.m_OnProducts = [&] {
    held = SendNew(Write());
    const UID last = SendNew(Write());
    EXPECT_TRUE(Messenger::WaitForSent(last, -1)); // the flood stands in the queue now
  };
  int delivered = 0;
  m_App.m_OnTranslations = [&] {
    ++delivered;
    if (delivered == 1) { // as long as the wait around it has in all
      EXPECT_FALSE(Messenger::WaitForSent(held, 0.01F));
    }
  };
  m_App.m_OnPass = [&] {
    if (m_App.m_ProductsSeen == 0)
      return true;
    EXPECT_FALSE(Messenger::WaitForSent(held, 0.01F));
    EXPECT_EQ(delivered, 1);
    Release();
    return false;
  };
  EXPECT_EQ(Run(), 0);
}

TEST_F(WaitTest, AWaitInASlotTakesOnlyItsOwnAnswerAndKeepsTheOrderOfTheRest) {
  std::vector<std::string> order;
  UID first, second;
  m_App.m_OnProducts = [&] {
    first = SendNew(Read("a"));
    const auto write = Write();
    second = SendNew(write);
    EXPECT_TRUE(Messenger::WaitForSent(second, -1));
    order.push_back("waited");
    EXPECT_TRUE(m_App.m_Options.empty()); // its reply came earlier, and keeps its place
    EXPECT_FALSE(Messenger::WaitForSent(first, 0) && m_App.m_Options.size() == 1);
    SendNew(Read("b"));
  };
  m_App.m_OnOptions = [&] {
    order.push_back(m_App.m_Options.back()->m_Options.begin()->first.str());
    if (m_App.m_Options.size() == 2)
      m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(order, ElementsAre("waited", "a", "b"));
}

TEST_F(WaitTest, AWaitFromAnotherThreadOnlyWaits) {
  bool answered = false;
  std::thread other;
  m_App.m_OnProducts = [&] {
    const UID id = SendNew(Read());
    other = std::thread([&, id] {
      answered = Messenger::WaitForSent(id, -1);
      m_App.Stop();
    });
  };
  EXPECT_EQ(Run(), 0);
  other.join();
  EXPECT_TRUE(answered);
  EXPECT_THAT(m_App.m_SlotThreads, testing::Each(std::this_thread::get_id()));
  EXPECT_EQ(m_App.m_Options.size(), 1u);
}

TEST_F(WaitTest, AWaitFromAnotherThreadThrowsWhenTheLoopIsToldToEnd) {
  Hold();
  std::thread other;
  bool thrown = false;
  m_App.m_OnProducts = [&] {
    const UID id = SendNew(Write());
    other = std::thread([&, id] {
      try {
        EXPECT_FALSE(Messenger::WaitForSent(id, 0.001F));
        (void)Messenger::WaitForSent(id, -1);
      } catch (ConnectionEnded* ended) {
        thrown = true;
        delete ended;
      }
      Release(); // the end of the run waits for the answer
    });
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  other.join();
  EXPECT_TRUE(thrown);
}

TEST_F(WaitTest, AWaitThrowsWhenSignalWasCalledAndTheRunEndsWithoutAnException) {
  Hold();
  m_App.m_OnProducts = [this] {
    const UID id = SendNew(Write());
    m_App.Signal(0);
    Release();
    (void)Messenger::WaitForSent(id, 10);
    ADD_FAILURE() << "the wait did not throw";
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(m_App.m_Exceptions.empty());
}

TEST_F(WaitTest, AStopFromAnotherThreadEndsAnEndlessWaitInASlot) {
  Hold();
  std::thread other;
  bool thrown = false;
  m_App.m_OnProducts = [&] {
    const UID id = SendNew(Write());
    other = std::thread([this] {
      EXPECT_TRUE(m_Master.WaitForFrames(2));
      m_App.Stop();
    });
    try {
      (void)Messenger::WaitForSent(id, -1);
    } catch (ConnectionEnded* ended) {
      thrown = true;
      delete ended;
    }
    Release(); // the end of the run waits for the answer
  };
  EXPECT_EQ(Run(), 0);
  other.join();
  EXPECT_TRUE(thrown);
}

TEST_F(WaitTest, AWaitThrowsWhenTheConnectionEnds) {
  Plan plan;
  plan.m_GoodbyeLater = wire::Goodbye::PROTOCOL_ERROR;
  m_Master.m_Plans = {plan};
  m_App.m_OnProducts = [] {
    const UID id = SendNew(Write());
    (void)Messenger::WaitForSent(id, 10);
    ADD_FAILURE() << "the wait did not throw";
  };
  EXPECT_EQ(Run(), 4);
  EXPECT_TRUE(m_App.m_Exceptions.empty());
}

TEST_F(WaitTest, AnswersThatCameBeforeTheEndCountAlsoWhenAWaitInASlotSawTheEndFirst) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Held.push_back(request);
    if (m_Held.size() < 2)
      return;
    m_Master.Serve(link, m_Held[0]);
    m_Master.Goodbye(link, wire::Goodbye::PROTOCOL_ERROR);
  };
  m_App.m_OnProducts = [] {
    SendNew(Write("first"));
    const UID second = SendNew(Write("second"));
    (void)Messenger::WaitForSent(second, -1);
  };
  EXPECT_EQ(Run(), 4);
  EXPECT_EQ(m_Lines,
            "The Master at fake:1 closed the connection: because of the test; compare the versions of this "
            "program and of the Master. The outcome of 1 request(s) is unknown: look before you repeat them\n"
            "Committed: the options of the section Distribution. Outcome unknown: the options of the section "
            "Distribution. Repeat only what was not committed, and look before you repeat what is unknown\n");
}

} // namespace
} // namespace brenic
