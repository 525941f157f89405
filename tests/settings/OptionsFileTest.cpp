#include "OptionsFileTest.h"
#include "brenic/Options.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

TEST_F(OptionsFileTest, EverySectionGoesToItsRequestWithoutAWord) {
  EXPECT_TRUE(CopyText("[Distribution]\nMaxJobs=5\n[Restrictions]\nNoDelete=yes\n[Limit]\nBeta=3\n"
                       "[Alpha]\nDepth=6\n"));
  EXPECT_EQ(m_Access.m_OptionsMsg->m_Section, o_Distribution);
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("MaxJobs", "5")));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("NoDelete", true)));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(2), 3)));
  ASSERT_EQ(m_Access.m_TypeOptionsMsgs.size(), 1u);
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Section, Type(1).ToString());
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("Depth", "6")));
  ExpectSilence();
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

TEST_F(OptionsFileTest, SectionNamesAreTakenInAnyCase) {
  EXPECT_TRUE(CopyText("[dISTRIBUTION]\na=1\n[RESTRICTIONS]\nr=1\n[limit]\nbeta=3\n[aLPHA]\nDepth=6\n"));
  EXPECT_EQ(m_Access.m_OptionsMsg->m_Section, o_Distribution);
  EXPECT_TRUE(m_Access.m_RestrictionsMsg);
  EXPECT_TRUE(m_Access.m_LimitsMsg);
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.count(Type(1)), 1u);
}

TEST_F(OptionsFileTest, TheNamesOfTheFixedSectionsGoBeforeProductsOfThatName) {
  Install(3, "Distribution", {"Limit", "Restrictions"});
  EXPECT_TRUE(CopyText("[Distribution]\na=1\n[Restrictions]\nr=1\n[Limit]\nBeta=3\n"));
  EXPECT_TRUE(m_Access.m_OptionsMsg && m_Access.m_RestrictionsMsg && m_Access.m_LimitsMsg);
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
}

TEST_F(OptionsFileTest, ATypesSectionMayBeNamedByAliasOrIdentifier) {
  EXPECT_TRUE(CopyText("[first]\na=1\n[00000000-0000-0000-0000-000000000002]\nb=2\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("a", "1")));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(2))->m_Options, ElementsAre(Pair("b", "2")));
}

TEST_F(OptionsFileTest, ASectionThatIsNoTypeIsSkippedWithoutAWord) {
  EXPECT_TRUE(CopyText("before=1\n[Gamma]\na=1\n[UserLimits]\nb=2\n"));
  ExpectNothingPending();
  ExpectSilence();
}

TEST_F(OptionsFileTest, TheSectionOfTheNullIdentifierIsSkippedWithoutAWordAndTheRestIsRead) {
  EXPECT_TRUE(CopyText("[00000000-0000-0000-0000-000000000000]\na=1\nb=2\n[Distribution]\nc=3\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("c", "3")));
  ExpectSilence();
}

TEST_F(OptionsFileTest, EmptySectionsMakeNoRequests) {
  EXPECT_TRUE(CopyText("[Distribution]\n[Restrictions]\n[Limit]\n[Alpha]\n"));
  ExpectNothingPending();
}

TEST_F(OptionsFileTest, ARepeatedSectionAddsToTheFirst) {
  EXPECT_TRUE(
      CopyText("[Distribution]\na=1\nb=1\n[Limit]\nAlpha=1\n[Distribution]\nB=2\nc=3\n[Limit]\nBeta=2\n"));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("a", "1"), Pair("b", "2"), Pair("c", "3")));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), 1), Pair(Type(2), 2)));
}

TEST_F(OptionsFileTest, GlobalOptionsAreTakenAsTheyStand) {
  EXPECT_TRUE(CopyText("[Distribution]\nempty=\n\" quoted \" = \" a ; b \"\nDepth=5\n"));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options,
              ElementsAre(Pair(" quoted ", " a ; b "), Pair("Depth", "5"), Pair("empty", "")));
}

TEST_F(OptionsFileTest, RestrictionsAreAddedForTrueWordsAndRemovedForAllOthers) {
  EXPECT_TRUE(CopyText("[Restrictions]\na=1\nb=TRUE\nc=Yes\nd=on\nk=0\nl=false\nm=no\nn=\no=2\nN=1\n"));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions,
              ElementsAre(Pair("N", true), Pair("a", true), Pair("b", true), Pair("c", true), Pair("d", true),
                          Pair("k", false), Pair("l", false), Pair("m", false), Pair("n", false),
                          Pair("o", false)));
}

TEST_F(OptionsFileTest, ALimitsValueIsItsLeadingNumberCutTo32Bits) {
  const std::vector<std::pair<std::string, int>> cases{{"", 0},
                                                       {"0", 0},
                                                       {"12", 12},
                                                       {"12abc", 12},
                                                       {"abc", 0},
                                                       {"-1", -1},
                                                       {"+3", 3},
                                                       {"-", 0},
                                                       {"1.9", 1},
                                                       {"0x10", 0},
                                                       {"010", 10},
                                                       {"\" 7\"", 7},
                                                       {"2147483647", 2147483647},
                                                       {"2147483648", -2147483647 - 1},
                                                       {"4294967296", 0},
                                                       {"4294967299", 3},
                                                       {"-4294967295", 1},
                                                       {"99999999999999999999", -1}};
  for (const auto& [text, limit] : cases) {
    EXPECT_TRUE(CopyText("[Limit]\nAlpha=" + text + "\n")) << text;
    EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), limit))) << text;
  }
  ExpectSilence();
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

TEST_F(OptionsFileTest, LimitsOfUnknownTypesAreSkippedWithoutAWord) {
  EXPECT_TRUE(CopyText("[Limit]\nGamma=1\n"));
  ExpectNothingPending();
  EXPECT_TRUE(CopyText("[Limit]\nGamma=1\nfirst=2\nAlpha=3\n00000000-0000-0000-0000-000000000000=4\n"));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(rlib::UID::Null, 4), Pair(Type(1), 3)));
  ExpectSilence();
}

TEST_F(OptionsFileTest, DefaultValuesOfATypeAreSkipped) {
  EXPECT_TRUE(CopyText("[Alpha]\nDepth=5\nfast=TRUE\n"));
  ExpectNothingPending();
  ExpectSilence();
}

TEST_F(OptionsFileTest, DefaultValuesDoNotEndTheSectionOfAType) {
  EXPECT_TRUE(CopyText("[Alpha]\nDepth=5\nA=1\nFast=true\n[Beta]\nb=2\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("A", "1")));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(2))->m_Options, ElementsAre(Pair("b", "2")));
  EXPECT_TRUE(CopyText("[Alpha]\nA=1\nDepth=5\nB=2\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("B", "2")));
}

TEST_F(OptionsFileTest, ADefaultValueDoesNotTakeTheSameOptionBack) {
  EXPECT_TRUE(CopyText("[Alpha]\nDepth=6\nDepth=5\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("Depth", "6")));
  WriteTextFile(m_File, "[Alpha]\nFast=true\n");
  EXPECT_TRUE(Parse({"-TypeOption", "Alpha", "Fast", "false", "-CopyFile", m_File.c_str()}));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("Fast", "false")));
}

TEST_F(OptionsFileTest, AnEmptyValueOfATypeIsStoredUnlessItIsTheDefault) {
  Install(3, "Delta", {}, R"([{"name":"Label","default":""}])");
  EXPECT_TRUE(CopyText("[Alpha]\nDepth=\n[Beta]\nb=\"\"\n[Delta]\nLabel=\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("Depth", "")));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(2))->m_Options, ElementsAre(Pair("b", "")));
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.size(), 2u);
  ExpectSilence();
}

TEST_F(OptionsFileTest, OfSeveralOptionsOfATypeOnlyTheLastThatIsNoDefaultIsKept) {
  EXPECT_TRUE(CopyText("[Alpha]\nA=1\nB=2\nDepth=5\n"));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("B", "2")));
}

TEST_F(OptionsFileTest, ATypesSectionDropsTheEarlierOptionOfTheSwitchToo) {
  WriteTextFile(m_File, "[Alpha]\nB=2\n");
  EXPECT_TRUE(Parse({"-TypeOption", "Alpha", "A", "1", "-CopyFile", m_File.c_str()}));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Options, ElementsAre(Pair("B", "2")));
}

TEST_F(OptionsFileTest, OverwritesWhatEarlierSwitchesSet) {
  WriteTextFile(m_File, "[Distribution]\nA=2\n[Limit]\nfirst=2\n[Restrictions]\nx=no\nX=no\n");
  EXPECT_TRUE(Parse({"-Option", "a", "1", "-Option", "z", "1", "-Limit", "Alpha", "1", "-AddRestriction", "x",
                     "-CopyFile", m_File.c_str()}));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("a", "2"), Pair("z", "1")));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), 2)));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("X", false), Pair("x", false)));
}

TEST_F(OptionsFileTest, LaterSwitchesOverwriteTheFile) {
  WriteTextFile(m_File, "[Distribution]\na=2\nb=2\n[Limit]\nAlpha=2\n[Restrictions]\nx=no\n");
  EXPECT_TRUE(Parse(
      {"-CopyFile", m_File.c_str(), "-Option", "A", "1", "-Limit", "Alpha", "1", "-AddRestriction", "x"}));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("a", "1"), Pair("b", "2")));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), 1)));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("x", true)));
}

TEST_F(OptionsFileTest, OfTwoFilesTheLaterOverwritesTheEarlier) {
  const std::string second = m_Folder / "second.ini";
  WriteTextFile(m_File, "[Distribution]\na=1\nb=1\n");
  WriteTextFile(second, "[Distribution]\nb=2\nc=2\n");
  EXPECT_EQ(Run({"-CopyFile", m_File.c_str(), "-CopyFile", second.c_str()}), 0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterOptionsMsg"));
  EXPECT_THAT(static_cast<const SetMasterOptionsMsg&>(*m_Script.m_Sent[0]).m_Options,
              ElementsAre(Pair("a", "1"), Pair("b", "2"), Pair("c", "2")));
}

TEST_F(OptionsFileTest, ItsRequestsGoOutInTheOrderOfTheQueue) {
  WriteTextFile(m_File, "[Restrictions]\nr=1\n[Limit]\nBeta=3\n[Alpha]\nDepth=6\n[Distribution]\na=1\n");
  EXPECT_EQ(Run({"-CopyFile", m_File.c_str()}), 0);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterOptionsMsg", "SetMasterOptionsMsg",
                                                  "SetMasterLimitsMsg", "SetMasterRestrictionsMsg"));
}

TEST_F(OptionsFileTest, AnEmptyFileIsAValidRequestThatSendsNothing) {
  WriteTextFile(m_File, "");
  EXPECT_EQ(Run({"-CopyFile", m_File.c_str()}), 0);
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(OptionsFileTest, DoesNotConsumeTheNameOfItsFile) {
  EXPECT_TRUE(CopyText("[Distribution]\na=1\n"));
  EXPECT_EQ(m_Index, 0);
}

TEST_F(OptionsFileTest, ItsFilesNameIsTheNextArgumentOfTheDispatch) {
  EXPECT_TRUE(Parse({"-CopyFile", "-DumpLogs"}));
  EXPECT_TRUE(m_Access.m_LogDumpMsg);
  EXPECT_EQ(m_Recorder.m_Err, "Cannot read options file '-DumpLogs': No such file or directory\n");
}

TEST_F(OptionsFileTest, AsTheLastArgumentPassesTheWeakCountCheckWithAnEmptyFileName) {
  EXPECT_TRUE(Copy({"-CopyFile"}));
  ExpectError("Cannot read options file '': no file name was given");
  EXPECT_EQ(m_Index, 0);
  EXPECT_TRUE(rlib::AnyFailureNoted());
}

TEST_F(OptionsFileTest, OnlyAPositionBehindTheLineIsTooFewParameters) {
  EXPECT_FALSE(Copy({"-CopyFile"}, 1));
  ExpectError("Not enough parameters for commandline switch -CopyFile");
  EXPECT_EQ(m_Index, 1);
}

TEST_F(OptionsFileTest, IsTraced) {
  EXPECT_EQ(TraceOf([&] { Copy({"-CopyFile"}); }), "SetwrightApp::AddFile (Setwright");
}

} // namespace
