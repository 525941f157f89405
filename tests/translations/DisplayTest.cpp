#include "Layout.h"
#include "ProcessTest.h"
#include "scripted/Writes.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using DisplayTest = ProcessTest;

TEST_F(DisplayTest, ShowsTheTableBetweenEmptyLines) {
  Have({Roots("X:", "/mnt/x", "/Volumes/x"), Roots("P:\\proj", "/mnt/proj", "")});
  m_Access.m_ShowPathTranslations = true;
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Recorder.m_Out, "\n"
                              "Windows | * Linux *   | Mac       \n"
                              "--------+-------------+-----------\n"
                              "X:      | (/mnt/x)    | /Volumes/x\n"
                              "P:\\proj | (/mnt/proj) |           \n"
                              "\n");
  EXPECT_FALSE(m_Access.m_ShowPathTranslations);
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
  EXPECT_THAT(m_Script.m_Events, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Err, "");
}

TEST_F(DisplayTest, ShowsOneLineForScripts) {
  Have({Roots("X:", "/mnt/x", "/Volumes/x"), Roots("P:\\proj", "/mnt/proj", "")});
  m_Access.m_ShowPathTranslations = m_Access.m_DisplayJSON = true;
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Recorder.m_Out, "[[\"X:\",\"/mnt/x\",\"/Volumes/x\"],[\"P:\\proj\",\"/mnt/proj\",\"\"]]\n");
  EXPECT_FALSE(m_Access.m_ShowPathTranslations);
}

TEST_F(DisplayTest, ShowsAnEmptyListAsTwoEmptyLines) {
  Have({});
  m_Access.m_ShowPathTranslations = true;
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Recorder.m_Out, "\n\n");
}

TEST_F(DisplayTest, ShowsAnEmptyListAsBracketsForScripts) {
  Have({});
  m_Access.m_ShowPathTranslations = m_Access.m_DisplayJSON = true;
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Recorder.m_Out, "[]\n");
}

TEST_F(DisplayTest, IsShownOnlyOnce) {
  Have({});
  m_Access.m_ShowPathTranslations = true;
  m_Access.ProcessPathTranslations();
  Have({k_A});
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(m_Recorder.m_Out, "\n\n");
}

TEST_F(DisplayTest, TheListIsShownAsItWasBeforeTheChanges) {
  std::string shown;
  m_Script.m_OnSend = [&](const auto&) { shown = m_Recorder.m_Out; };
  Have({k_A});
  m_Access.m_ShowPathTranslations = m_Access.m_DisplayJSON = true;
  m_Access.m_AddTranslations = {k_New};
  m_Access.m_RemoveRoots = {"A:"};
  m_Access.ProcessPathTranslations();
  EXPECT_EQ(shown, "[[\"A:\",\"/a\",\"/Va\"]]\n");
  EXPECT_EQ(m_Recorder.m_Out, shown);
  EXPECT_THAT(Sent(), ElementsAre(k_New));
}

TEST_F(DisplayTest, TheSwitchForScriptsAloneShowsNothing) {
  m_Script.m_Passes = {[] {
    Arrive(ListOf({k_A}));
    ProductsArrive();
  }};
  EXPECT_EQ(Run({"-DumpLogs", "-JSON"}), 0);
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("LogDumpMsg"));
}

TEST_F(DisplayTest, TheSwitchForScriptsCountsWhereverItStands) {
  for (const std::vector<const char*>& line :
       {std::vector<const char*>{"-json", "-GetPathTranslations"},
        std::vector<const char*>{"-GetPathTranslations", "-DumpLogs", "-JSON"}}) {
    SetwrightApp app;
    m_Recorder.m_Out.clear();
    m_Script.m_Executes = 0;
    m_Script.m_Passes = {[] {
      Arrive(ListOf({}));
      ProductsArrive();
    }};
    std::vector<const char*> arguments{"setwright"};
    arguments.insert(arguments.end(), line.begin(), line.end());
    EXPECT_EQ(app.Start(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data())), 0);
    EXPECT_EQ(m_Recorder.m_Out, "[]\n");
  }
}

TEST_F(DisplayTest, TheDisplayIsTracedWithItsLine) {
  Have(SetList(20, Roots("X:", std::string(1000, 'x').c_str(), ""))); // a table of several writes
  m_Access.m_ShowPathTranslations = true;
  const Writes writes = WritesOf(m_Recorder, [this] { m_Access.ProcessPathTranslations(); });
  EXPECT_GT(writes.m_Texts.size(), 3u);
  EXPECT_THAT(writes.m_OpenCalls, HasSubstr("\n  SetwrightApp::DisplayPathTranslations (Setwright:213)\n"
                                            "  SetwrightApp::ProcessPathTranslations (Setwright:297)\n"));
}

TEST_F(DisplayTest, TheTableIsWrittenAsOneLineBehindAnEmptyOne) {
  Have({k_A});
  m_Access.m_ShowPathTranslations = true;
  const Writes writes = WritesOf(m_Recorder, [this] { m_Access.ProcessPathTranslations(); });
  EXPECT_THAT(writes.m_Texts, ElementsAre("\n", TranslationTable({k_A}, 1).str() + "\n"));
}

TEST_F(DisplayTest, TheSwitchForScriptsStaysAsItWasGiven) {
  for (const bool json : {true, false}) {
    m_Access.m_DisplayJSON = json;
    m_Access.m_ShowPathTranslations = true;
    Have({k_A});
    m_Access.ProcessPathTranslations();
    EXPECT_EQ(m_Access.m_DisplayJSON, json);
  }
}

} // namespace
