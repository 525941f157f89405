#include "Sets.h"
#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using rlib::Path;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char* k_NotEnough = "Not enough roots supplied to add a path translation";
constexpr const char* k_NoRoot = "No root supplied to remove";

class TranslationSwitchesTest : public SetwrightTest {
protected:
  /// The handlers' results for the switch at `m_Index`, which they move.
  bool Add(std::vector<const char*> arguments, int index = 0) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_Index = index;
    return m_Access.AddPathTranslation(m_Index);
  }
  bool Remove(std::vector<const char*> arguments, int index = 0) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_Index = index;
    return m_Access.RemovePathTranslation(m_Index);
  }
  bool Parse(std::vector<const char*> arguments) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    return m_Access.ParseCommandLine();
  }
  void ExpectError(const std::string& text) {
    EXPECT_EQ(m_Recorder.m_Err, text + "\n");
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre("ERROR " + text));
    EXPECT_EQ(m_Recorder.m_WrittenAtLastLine, "");
    EXPECT_EQ(m_Recorder.m_Out, "");
    EXPECT_EQ(m_Access.m_ExitCode, 0);
    ExpectNothingQueued();
  }
  void ExpectSilence() {
    EXPECT_THAT(m_Recorder.m_Log, IsEmpty());
    EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
  }
  void ExpectNothingQueued() {
    EXPECT_THAT(m_Access.m_AddTranslations, IsEmpty());
    EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty());
  }

  int m_Index = 0;
};

TEST_F(TranslationSwitchesTest, StartsWithNothingQueued) {
  ExpectNothingQueued();
  EXPECT_FALSE(m_Access.m_CurrentTranslationsMsg);
  EXPECT_FALSE(m_Access.m_PathTranslationsMsg);
  EXPECT_FALSE(m_Access.m_ShowPathTranslations);
  EXPECT_FALSE(m_Access.m_DisplayJSON);
}

TEST_F(TranslationSwitchesTest, AnAdditionTakesThreeRootsInTheOrderOfPlatforms) {
  EXPECT_TRUE(Add({"-PathTranslation", "X:", "/mnt/x", "/Volumes/x"}));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("X:", "/mnt/x", "/Volumes/x")));
  EXPECT_EQ(m_Index, 3);
  EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty());
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
  ExpectSilence();
}

TEST_F(TranslationSwitchesTest, AnAdditionReadsBehindItsOwnPosition) {
  EXPECT_TRUE(Add({"-Info", "-PathTranslation", "a", "b", "c", "d"}, 1));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("a", "b", "c")));
  EXPECT_EQ(m_Index, 4);
}

TEST_F(TranslationSwitchesTest, AnEmptyRootIsStoredAsItIs) {
  EXPECT_TRUE(Add({"-PathTranslation", "", "/mnt/share", "/Volumes/share"}));
  EXPECT_TRUE(Add({"-PathTranslation", "", "", ""}));
  EXPECT_THAT(m_Access.m_AddTranslations,
              ElementsAre(Roots("", "/mnt/share", "/Volumes/share"), Roots("", "", "")));
  ExpectSilence();
}

TEST_F(TranslationSwitchesTest, TwoRootsAtTheEndOfTheLineAreEnoughAndTheThirdIsEmpty) {
  EXPECT_TRUE(Add({"-PathTranslation", "X:", "/mnt/x"}));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("X:", "/mnt/x", "")));
  EXPECT_EQ(m_Index, 3);
  ExpectSilence();
}

TEST_F(TranslationSwitchesTest, OneRootIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Add({"-Info", "-PathTranslation", "X:"}, 1));
  EXPECT_EQ(m_Index, 1);
  ExpectError(k_NotEnough);
}

TEST_F(TranslationSwitchesTest, NoRootIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Add({"-PathTranslation"}));
  EXPECT_EQ(m_Index, 0);
  ExpectError(k_NotEnough);
}

TEST_F(TranslationSwitchesTest, AnErrorLeavesEarlierAdditionsAlone) {
  Add({"-PathTranslation", "a", "b", "c"});
  EXPECT_FALSE(Add({"-PathTranslation", "d"}));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("a", "b", "c")));
}

TEST_F(TranslationSwitchesTest, ArgumentsBehindARejectedAdditionAreSwitchesAgain) {
  EXPECT_TRUE(Parse({"-PathTranslation", "-Info"}));
  EXPECT_TRUE(m_Access.m_ShowInfo);
  EXPECT_FALSE(Parse({"-PathTranslation", "X:"}));
}

TEST_F(TranslationSwitchesTest, AThirdRootMayLookLikeASwitch) {
  EXPECT_TRUE(Parse({"-PathTranslation", "A", "B", "-Info"}));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("A", "B", "-Info")));
  EXPECT_FALSE(m_Access.m_ShowInfo);
}

TEST_F(TranslationSwitchesTest, AThirdRootMayBeAnyText) {
  const std::string longest(4096, 'x');
  for (const char* root : {"", " ", "-", "--", "-h", "-JSON", "-PathTranslation", "-RemovePathTranslation",
                           "\"\"", "a\nb", "%s%n", "\xff", "X:", longest.c_str()}) {
    m_Access.m_AddTranslations.clear();
    EXPECT_TRUE(Parse({"-PathTranslation", "A", "B", root})) << root;
    EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("A", "B", root)));
    EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty()) << root;
  }
  ExpectSilence();
}

TEST_F(TranslationSwitchesTest, ExactlyThreeRootsAreConsumed) {
  EXPECT_TRUE(Parse({"-PathTranslation", "-Info", "-DumpLogs", "-Reboot", "-SuperExit", "stray"}));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("-Info", "-DumpLogs", "-Reboot")));
  EXPECT_TRUE(m_Access.m_SuperExit);
  EXPECT_FALSE(m_Access.m_ShowInfo || m_Access.m_LogDumpMsg || m_Access.m_Reboot);
}

TEST_F(TranslationSwitchesTest, RootsAreKeptByteForByte) {
  EXPECT_TRUE(Add({"-PathTranslation", "\\\\Server\\Share\\", " /MNT/%s//x/ ", "/Völumes/\"q\"/"}));
  EXPECT_THAT(m_Access.m_AddTranslations,
              ElementsAre(Roots("\\\\Server\\Share\\", " /MNT/%s//x/ ", "/Völumes/\"q\"/")));
  EXPECT_TRUE(Remove({"-RemovePathTranslation", " C:\\A/b\\ "}));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre(" C:\\A/b\\ "));
}

TEST_F(TranslationSwitchesTest, IdenticalAdditionsAreNotMerged) {
  EXPECT_TRUE(Parse({"-PathTranslation", "a", "b", "c", "-pathtranslation", "a", "b", "c"}));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("a", "b", "c"), Roots("a", "b", "c")));
}

TEST_F(TranslationSwitchesTest, ARemovalTakesOneRoot) {
  EXPECT_TRUE(Remove({"-Info", "-RemovePathTranslation", "/mnt/x", "more"}, 1));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre("/mnt/x"));
  EXPECT_EQ(m_Index, 2);
  EXPECT_THAT(m_Access.m_AddTranslations, IsEmpty());
  ExpectSilence();
}

TEST_F(TranslationSwitchesTest, ARemovalAtTheEndOfTheLineQueuesTheEmptyRoot) {
  EXPECT_TRUE(Remove({"-RemovePathTranslation"}));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre(""));
  EXPECT_EQ(m_Index, 1);
  ExpectSilence();
  EXPECT_TRUE(Parse({"-RemovePathTranslation"}));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre("", ""));
}

TEST_F(TranslationSwitchesTest, ARemovalAtOrBeyondTheEndOfTheLineIsAnError) {
  EXPECT_FALSE(Remove({"-RemovePathTranslation"}, 1));
  EXPECT_EQ(m_Index, 1);
  ExpectError(k_NoRoot);
  EXPECT_FALSE(Remove({}, 0));
  EXPECT_FALSE(Remove({"a", "b"}, 7));
  EXPECT_THAT(m_Access.m_RemoveRoots, IsEmpty());
}

TEST_F(TranslationSwitchesTest, TheRootOfARemovalMayLookLikeASwitch) {
  EXPECT_TRUE(Parse({"-RemovePathTranslation", "-Info", "-DumpLogs"}));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre("-Info"));
  EXPECT_FALSE(m_Access.m_ShowInfo);
  EXPECT_TRUE(m_Access.m_LogDumpMsg);
}

TEST_F(TranslationSwitchesTest, RequestsKeepTheOrderOfTheLine) {
  EXPECT_TRUE(
      Parse({"-RemovePathTranslation", "z", "-PathTranslation", "a", "b", "c", "-RemovePathTranslation", "y",
             "-PathTranslation", "d", "e", "f", "-RemovePathTranslation", "z"}));
  EXPECT_THAT(m_Access.m_RemoveRoots, ElementsAre("z", "y", "z"));
  EXPECT_THAT(m_Access.m_AddTranslations, ElementsAre(Roots("a", "b", "c"), Roots("d", "e", "f")));
}

TEST_F(TranslationSwitchesTest, AreTracedWithTheirLines) {
  std::string calls;
  rlib::Log::SetObserver([&](int, const rlib::String&) { calls = rlib::OpenCallEntries().str(); });
  Add({"-PathTranslation"});
  EXPECT_THAT(calls, HasSubstr("\n  SetwrightApp::AddPathTranslation (Setwright:1338)\n"));
  Remove({}, 0);
  EXPECT_THAT(calls, HasSubstr("\n  SetwrightApp::RemovePathTranslation (Setwright:1362)\n"));
}

} // namespace
