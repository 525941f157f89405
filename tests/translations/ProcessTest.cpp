#include <boost/weak_ptr.hpp>

#include "ProcessTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

TEST_F(ProcessTest, WithNothingQueuedOnlyTheListIsReleased) {
  boost::weak_ptr<PathTranslationsMsg> list = Have({k_A});
  m_Access.ProcessPathTranslations();
  EXPECT_TRUE(list.expired());
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
  EXPECT_FALSE(m_Access.m_PathTranslationsMsg);
  EXPECT_THAT(m_Script.m_Events, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(ProcessTest, WithNothingQueuedAMissingListIsNotAwaited) {
  m_Access.ProcessPathTranslations();
  EXPECT_FALSE(m_Access.m_TranslationsAwaitedSince);
  EXPECT_THAT(m_Script.m_Events, IsEmpty());
}

TEST_F(ProcessTest, ChangesAreSentAsTheWholeNewList) {
  const auto list = Have({k_A, k_B});
  m_Access.m_RemoveRoots = {"/a"};
  m_Access.m_AddTranslations = {k_New, k_B};
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(m_Script.m_Events, ElementsAre(k_Changing, "Send PathTranslationsMsg"));
  EXPECT_THAT(Sent(), ElementsAre(k_B, k_New, k_B));
  EXPECT_EQ(m_Access.m_PathTranslationsMsg, m_Script.m_Sent.at(0));
  EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty());
  EXPECT_THAT(m_Access.m_AddTranslations, IsEmpty());
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
  EXPECT_THAT(list->m_Translations, ElementsAre(k_A, k_B)) << "the received list was changed";
  EXPECT_NE(m_Script.m_Sent.at(0)->m_ID, list->m_ID);
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(ProcessTest, AdditionsAloneKeepTheWholeList) {
  Have({k_A, k_B});
  m_Access.m_AddTranslations = {k_A};
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(Sent(), ElementsAre(k_A, k_B, k_A));
}

TEST_F(ProcessTest, ARemovalThatMatchesNothingSendsTheListAsItIs) {
  Have({k_A, k_B});
  m_Access.m_RemoveRoots = {"/nowhere"};
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(m_Script.m_Events, ElementsAre(k_Changing, "Send PathTranslationsMsg"));
  EXPECT_THAT(Sent(), ElementsAre(k_A, k_B));
}

TEST_F(ProcessTest, AnEmptyListIsAListToStartFrom) {
  Have({});
  m_Access.m_AddTranslations = {k_New};
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(Sent(), ElementsAre(k_New));
}

TEST_F(ProcessTest, AnEarlierMessageIsReplaced) {
  boost::weak_ptr<PathTranslationsMsg> earlier = m_Access.m_PathTranslationsMsg = ListOf({});
  Have({k_A});
  m_Access.m_RemoveRoots = {"/a"};
  m_Access.ProcessPathTranslations();
  EXPECT_TRUE(earlier.expired());
  EXPECT_EQ(m_Access.m_PathTranslationsMsg, m_Script.m_Sent.at(0));
}

TEST_F(ProcessTest, ALaterCallFindsNothingToDoAndKeepsTheMessage) {
  Have({k_A});
  m_Access.m_AddTranslations = {k_New};
  m_Access.ProcessPathTranslations();
  const auto message = m_Access.m_PathTranslationsMsg;
  Have({k_A, k_New});
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Script.m_Sent.size(), 1u);
  EXPECT_EQ(m_Access.m_PathTranslationsMsg, message);
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
}

TEST_F(ProcessTest, TheLastListThatArrivedIsKept) {
  m_App.Startup(m_Access.m_CommandLine);
  m_Script.m_Events.clear();
  boost::weak_ptr<PathTranslationsMsg> first;
  {
    const auto list = ListOf({k_A});
    first = list;
    EXPECT_EQ(Arrive(list), 1u);
    EXPECT_EQ(m_Access.m_CurrentTranslationsMsg, list);
  }
  const auto second = ListOf({k_B});
  EXPECT_EQ(Arrive(second), 1u);
  EXPECT_EQ(m_Access.m_CurrentTranslationsMsg, second);
  EXPECT_TRUE(first.expired());
  EXPECT_THAT(m_Script.m_Events, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(ProcessTest, ARunSendsItsChangesAndWaitsForThem) {
  m_Script.m_Passes = {[] {
    Arrive(ListOf({k_A, k_B}));
    ProductsArrive();
    TheScript().m_Events.clear();
  }};
  EXPECT_EQ(Run({"-PathTranslation", "N:", "/n", "/Vn", "-RemovePathTranslation", "B:"}), 0);
  EXPECT_THAT(m_Script.m_Events,
              ElementsAre(k_Changing, "Send PathTranslationsMsg", "SYSTEM Wait For Messages",
                          "Wait PathTranslationsMsg", "Cleanup"));
  EXPECT_THAT(Sent(), ElementsAre(k_A, k_New));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(ProcessTest, AListThatArrivesAfterTheChangeIsReleasedByTheNextPass) {
  boost::weak_ptr<PathTranslationsMsg> pushed;
  m_Script.m_OnSend = [&](const auto& message) { m_Script.m_Undelivered[message->m_ID] = 2; };
  m_Script.m_Passes = {[] {
                         Arrive(ListOf({k_A}));
                         ProductsArrive();
                       },
                       [&] {
                         const auto list = ListOf({k_A, k_New});
                         pushed = list;
                         Arrive(list);
                         EXPECT_FALSE(pushed.expired());
                       },
                       [&] { EXPECT_TRUE(pushed.expired()); }};
  EXPECT_EQ(Run({"-PathTranslation", "N:", "/n", "/Vn"}), 0);
  EXPECT_EQ(m_Script.m_Executes, 3);
  EXPECT_EQ(m_Script.m_Sent.size(), 1u);
}

TEST_F(ProcessTest, IsTracedWithItsLine) {
  std::string calls;
  rlib::Log::SetObserver([&](int, const rlib::String&) { calls = rlib::OpenCallEntries().str(); });
  Have({});
  m_Access.m_AddTranslations = {k_New};
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(calls, HasSubstr("\n  SetwrightApp::ProcessPathTranslations (Setwright:297)\n"));
}

TEST_F(ProcessTest, TheSlotOfTheListIsTracedWithItsLine) {
  m_App.Startup(m_Access.m_CommandLine);
  // The slot says nothing, but releases the list before.
  std::string calls;
  m_Access.m_CurrentTranslationsMsg.reset(new PathTranslationsMsg, [&](PathTranslationsMsg* list) {
    calls = rlib::OpenCallEntries().str();
    delete list;
  });
  Arrive(ListOf({}));
  EXPECT_THAT(calls, HasSubstr("\n  SetwrightApp::OnPathTranslations (Setwright:206)\n"));
}

TEST_F(ProcessTest, AChangeIsLoggedMadeSentAndForgottenInThisOrder) {
  const auto earlier = m_Access.m_PathTranslationsMsg = ListOf({});
  std::vector<std::string> steps;
  m_Access.m_CurrentTranslationsMsg.reset(new PathTranslationsMsg, [&](PathTranslationsMsg* list) {
    steps.push_back("released");
    EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty());
    EXPECT_THAT(m_Access.m_AddTranslations, IsEmpty());
    delete list;
  });
  m_Access.m_CurrentTranslationsMsg->m_Translations = {k_A, k_B};
  m_Access.m_AddTranslations = {k_New};
  m_Access.m_RemoveRoots = {"/a"};
  const auto expectAllPending = [&] {
    EXPECT_TRUE(m_Access.m_CurrentTranslationsMsg);
    EXPECT_EQ(m_Access.m_AddTranslations.size(), 1u);
    EXPECT_EQ(m_Access.m_RemoveRoots.size(), 1u);
  };
  rlib::Log::SetObserver([&](int, const rlib::String& line) {
    steps.push_back(line.str());
    EXPECT_EQ(m_Access.m_PathTranslationsMsg, earlier);
    expectAllPending();
  });
  m_Script.m_OnSend = [&](const boost::shared_ptr<Message>& message) {
    steps.push_back("sent");
    EXPECT_EQ(m_Access.m_PathTranslationsMsg, message);
    EXPECT_THAT(m_Access.m_PathTranslationsMsg->m_Translations, ElementsAre(k_B, k_New));
    expectAllPending();
  };
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(steps, ElementsAre("Adding/Removing path translations", "sent", "released"));
}

} // namespace
