#include "ProcessTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char* k_Missing =
    "The Master did not send its path translations within 10 s; they are neither shown nor changed";

class MissingListTest : public ProcessTest {
protected:
  /// As if the list had been awaited for as long as the tool waits.
  void PassTheWait() {
    ASSERT_TRUE(m_Access.m_TranslationsAwaitedSince);
    *m_Access.m_TranslationsAwaitedSince -= SetwrightApp::k_TranslationsWait;
  }
};

TEST_F(MissingListTest, AMissingListIsWaitedForTenSeconds) {
  EXPECT_EQ(SetwrightApp::k_TranslationsWait, std::chrono::seconds(10));
}

TEST_F(MissingListTest, WithoutAListRequestsAreKeptAndNothingIsSent) {
  m_Access.m_ShowPathTranslations = true;
  m_Access.m_AddTranslations = {k_New};
  m_Access.m_RemoveRoots = {"A:"};
  m_Access.ProcessPathTranslations();
  EXPECT_TRUE(m_Access.m_TranslationsAwaitedSince);
  *m_Access.m_TranslationsAwaitedSince += std::chrono::hours(1); // the machine may be slow
  const auto since = *m_Access.m_TranslationsAwaitedSince;
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(*m_Access.m_TranslationsAwaitedSince, since);
  EXPECT_TRUE(m_Access.m_ShowPathTranslations);
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(k_New));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre("A:"));
  EXPECT_FALSE(m_Access.m_PathTranslationsMsg);
  EXPECT_THAT(m_Script.m_Events, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
  EXPECT_EQ(m_Access.m_ExitCode, 0);
}

TEST_F(MissingListTest, AListThatIsStillMissingAfterTheWaitIsGivenUpInOneClearLine) {
  m_Access.m_ShowPathTranslations = true;
  m_Access.m_AddTranslations = {k_New};
  m_Access.m_RemoveRoots = {"A:"};
  m_Access.ProcessPathTranslations();
  PassTheWait();
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Recorder.m_Err, std::string(k_Missing) + "\n");
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre(std::string("ERROR ") + k_Missing));
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_EQ(m_Access.m_ExitCode, 1);
  EXPECT_FALSE(m_Access.m_ShowPathTranslations);
  EXPECT_THAT(m_Access.m_AddTranslations, IsEmpty());
  EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty());
  EXPECT_FALSE(m_Access.m_PathTranslationsMsg);
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(MissingListTest, EachKindOfRequestAloneWaitsForTheList) {
  const auto expectWait = [this](const char* request) {
    m_Access.m_TranslationsAwaitedSince.reset();
    m_Access.ProcessPathTranslations();
    EXPECT_TRUE(m_Access.m_TranslationsAwaitedSince) << request;
    EXPECT_THAT(m_Script.m_Events, IsEmpty()) << request;
  };
  m_Access.m_ShowPathTranslations = true;
  expectWait("display");
  m_Access.m_ShowPathTranslations = false;
  m_Access.m_AddTranslations = {k_New};
  expectWait("addition");
  m_Access.m_AddTranslations.clear();
  m_Access.m_RemoveRoots = {"A:"};
  expectWait("removal");
}

TEST_F(MissingListTest, AMissingListFailsTheRunButNotItsOtherRequests) {
  m_Script.m_OnSend = [&](const auto& message) { m_Script.m_Undelivered[message->m_ID] = 1; };
  m_Script.m_Passes = {ProductsArrive, {}, [this] { PassTheWait(); }};
  EXPECT_EQ(Run({"-GetPathTranslations", "-PathTranslation", "N:", "/n", "/Vn", "-Option", "a", "1",
                 "-RemovePathTranslation", "A:"}),
            1);
  // Two passes while the list is awaited, one more until the option is delivered.
  EXPECT_EQ(m_Script.m_Executes, 4);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterOptionsMsg"));
  EXPECT_EQ(m_Script.m_Waits.size(), 2u);
  EXPECT_EQ(m_Recorder.m_Err, std::string(k_Missing) + "\n");
  EXPECT_EQ(m_Recorder.m_Out, "");
}

TEST_F(MissingListTest, NothingElseIsAwaitedWhileTheListIsMissing) {
  m_Script.m_Passes = {ProductsArrive, [this] { EXPECT_THAT(m_Script.m_Waits, IsEmpty()); },
                       [this] {
                         EXPECT_THAT(m_Script.m_Waits, IsEmpty());
                         PassTheWait();
                       }};
  EXPECT_EQ(Run({"-RemovePathTranslation", "A:", "-DumpLogs"}), 1);
  EXPECT_EQ(m_Script.m_Waits.size(), 1u);
}

TEST_F(MissingListTest, AListThatComesLateIsInTime) {
  m_Script.m_Passes = {ProductsArrive, {}, [] { Arrive(ListOf({k_A})); }};
  EXPECT_EQ(Run({"-GetPathTranslations", "-JSON", "-PathTranslation", "N:", "/n", "/Vn"}), 0);
  EXPECT_EQ(m_Recorder.m_Out, "[[\"A:\",\"/a\",\"/Va\"]]\n");
  EXPECT_EQ(m_Recorder.m_Err, "");
  EXPECT_THAT(Sent(), ElementsAre(k_A, k_New));
}

TEST_F(MissingListTest, AListThatComesAfterItWasGivenUpChangesNothing) {
  m_Access.m_AddTranslations = {k_New};
  m_Access.ProcessPathTranslations();
  PassTheWait();
  m_Access.ProcessPathTranslations();
  Have({k_A});
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
}

TEST_F(MissingListTest, AWaitThatIsOverDoesNotLoseAListThatHasCome) {
  m_Access.m_AddTranslations = {k_New};
  m_Access.ProcessPathTranslations();
  PassTheWait();
  Have({k_A});
  m_Access.ProcessPathTranslations();
  EXPECT_THAT(Sent(), ElementsAre(k_A, k_New));
  EXPECT_EQ(m_Access.m_ExitCode, 0);
}

} // namespace
