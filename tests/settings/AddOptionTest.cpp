#include "brenic/Options.h"
#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr const char* k_OptionNotEnough = "Not enough parameters for commandline switch -Option";
constexpr const char* k_OptionEmptyName = "Empty option names are not allowed for commandline switch -Option";

class AddOptionTest : public SetwrightTest {
protected:
  /// The handler's result for the switch at `m_Index`, which it moves.
  bool Add(std::vector<const char*> arguments, int index = 0) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_Index = index;
    return m_Access.AddOption(m_Index);
  }
  void ExpectError(const std::string& text) {
    EXPECT_EQ(m_Recorder.m_Err, text + "\n");
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre("ERROR " + text));
    EXPECT_EQ(m_Recorder.m_WrittenAtLastLine, "");
    EXPECT_EQ(m_Recorder.m_Out, "");
  }

  int m_Index = 0;
};

TEST_F(AddOptionTest, StoresTheValueInTheGlobalSectionAndMovesBehindIt) {
  EXPECT_TRUE(Add({"-Option", "MaxJobs", "5"}));
  ASSERT_TRUE(m_Access.m_OptionsMsg);
  EXPECT_EQ(m_Access.m_OptionsMsg->m_Section, o_Distribution);
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("MaxJobs", "5")));
  EXPECT_EQ(m_Index, 2);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting Distribution option 'MaxJobs' to '5'"));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(AddOptionTest, ReadsItsValuesBehindItsOwnPosition) {
  EXPECT_TRUE(Add({"-Option", "a", "1", "-Option", "b", "2", "-Info"}, 3));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("b", "2")));
  EXPECT_EQ(m_Index, 5);
}

TEST_F(AddOptionTest, AMissingValueIsTheEmptyText) {
  EXPECT_TRUE(Add({"-Option", "Name"}));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("Name", "")));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting Distribution option 'Name' to ''"));
  EXPECT_EQ(m_Index, 2);
}

TEST_F(AddOptionTest, AnEmptyValueIsStored) {
  EXPECT_TRUE(Add({"-Option", "Name", ""}));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("Name", "")));
}

TEST_F(AddOptionTest, AsTheLastArgumentIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Add({"-Info", "-Option"}, 1));
  ExpectError(k_OptionNotEnough);
  EXPECT_EQ(m_Index, 1);
  EXPECT_FALSE(m_Access.m_OptionsMsg);
}

TEST_F(AddOptionTest, AnEmptyNameIsAnErrorBehindItsValues) {
  EXPECT_FALSE(Add({"-Option", "", "value"}));
  ExpectError(k_OptionEmptyName);
  EXPECT_EQ(m_Index, 2);
  EXPECT_FALSE(m_Access.m_OptionsMsg);
}

TEST_F(AddOptionTest, AnEmptyNameAsTheLastArgumentIsAnEmptyNameToo) {
  EXPECT_FALSE(Add({"-Option", ""}));
  ExpectError(k_OptionEmptyName);
  EXPECT_EQ(m_Index, 2);
}

TEST_F(AddOptionTest, AnErrorLeavesEarlierOptionsAlone) {
  Add({"-Option", "a", "1"});
  const auto message = m_Access.m_OptionsMsg;
  EXPECT_FALSE(Add({"-Option", "", "2"}));
  EXPECT_EQ(m_Access.m_OptionsMsg, message);
  EXPECT_THAT(message->m_Options, ElementsAre(Pair("a", "1")));
}

TEST_F(AddOptionTest, NamesThatDifferInCaseAreOneEntryInItsFirstSpellingWithTheLastValue) {
  CommandLine cmd = Arguments({"-Option", "a", "1", "-Option", "A", "2"});
  EXPECT_TRUE(m_Access.ParseCommandLine(cmd));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("a", "2")));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting Distribution option 'a' to '1'",
                                            "SYSTEM Setting Distribution option 'A' to '2'"));
}

TEST_F(AddOptionTest, LaterOptionsUseTheSameMessageAndLeaveItsSectionAlone) {
  Add({"-Option", "a", "1"});
  const auto message = m_Access.m_OptionsMsg;
  message->m_Section = "changed";
  EXPECT_TRUE(Add({"-Option", "b", "2"}));
  EXPECT_EQ(m_Access.m_OptionsMsg, message);
  EXPECT_EQ(message->m_Section, "changed");
  EXPECT_THAT(message->m_Options, ElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST_F(AddOptionTest, NamesAndValuesAreTakenUnchanged) {
  EXPECT_TRUE(Add({"-Option", " -Info %s", "it's 'quoted' %n"}));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair(" -Info %s", "it's 'quoted' %n")));
  EXPECT_THAT(m_Recorder.m_Log,
              ElementsAre("SYSTEM Setting Distribution option ' -Info %s' to 'it's 'quoted' %n'"));
}

TEST_F(AddOptionTest, AllOptionsGoOutInOneMessage) {
  EXPECT_EQ(Run({"-Option", "a", "1", "-Info", "-option", "b", "2"}), 0);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterOptionsMsg"));
}

TEST_F(AddOptionTest, AnErrorNextToAGoodSwitchDoesNotFailTheRun) {
  EXPECT_EQ(Run({"-Option", "a", "1", "-Option"}), 0);
  EXPECT_EQ(m_Recorder.m_Err, std::string(k_OptionNotEnough) + "\n");
  EXPECT_EQ(m_Script.m_Sent.size(), 1u);
}

TEST_F(AddOptionTest, TheRequestStandsWhenItIsLogged) {
  rlib::Log::SetObserver([&](int, const rlib::String& line) {
    m_Recorder.m_Log.push_back(line.str());
    ASSERT_TRUE(m_Access.m_OptionsMsg);
    EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("a", "1")));
  });
  Add({"-Option", "a", "1"});
  EXPECT_EQ(m_Recorder.m_Log.size(), 1u);
}

TEST_F(AddOptionTest, IsTraced) {
  std::vector<std::string> calls;
  rlib::Log::SetObserver([&](int, const rlib::String&) { calls = OpenCalls(); });
  Add({"-Option", "a", "1"});
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::AddOption (Setwright"));
}

} // namespace
