#include "scripted/SwitchHandlerTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr const char* k_TypeOptionNotEnough = "Not enough parameters for commandline switch -TypeOption";
constexpr const char* k_TypeOptionEmptyName =
    "Empty option names are not allowed for commandline switch -TypeOption";
constexpr const char* k_Null = "00000000-0000-0000-0000-000000000000";

class TypeOptionTest : public SwitchHandlerTest {
protected:
  TypeOptionTest() {
    Install(1, "Alpha", {"first"}, R"([{"name":"Depth","default":5},{"name":"Label","default":""}])");
    Install(2, "Beta");
  }
  bool Add(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::AddTypeOption, std::move(arguments), index);
  }
  const OptionMap& OptionsOf(uint8_t number) {
    return m_Access.m_TypeOptionsMsgs.at(Type(number))->m_Options;
  }
};

TEST_F(TypeOptionTest, StoresTheValueInTheMessageOfItsTypeAndMovesBehindIt) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "Depth", "6"}));
  ASSERT_EQ(m_Access.m_TypeOptionsMsgs.size(), 1u);
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_Section, "00000000-0000-0000-0000-000000000001");
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("Depth", "6")));
  EXPECT_EQ(m_Index, 3);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'Alpha' option 'Depth' to '6'"));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
  EXPECT_FALSE(m_Access.m_OptionsMsg);
}

TEST_F(TypeOptionTest, ReadsItsValuesBehindItsOwnPosition) {
  EXPECT_TRUE(Add({"-TypeOption", "Beta", "a", "1", "-TypeOption", "Alpha", "b", "2", "-Info"}, 4));
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("b", "2")));
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.size(), 1u);
  EXPECT_EQ(m_Index, 7);
}

TEST_F(TypeOptionTest, TheTypeMayBeGivenByAliasOrIdentifierAndIsLoggedByItsName) {
  EXPECT_TRUE(Add({"-TypeOption", "FIRST", "a", "1"}));
  EXPECT_TRUE(Add({"-TypeOption", "00000000-0000-0000-0000-000000000002", "a", "1"}));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'Alpha' option 'a' to '1'",
                                            "SYSTEM Setting 'Beta' option 'a' to '1'"));
}

TEST_F(TypeOptionTest, AMissingValueIsTheEmptyText) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "Depth"}));
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("Depth", "")));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'Alpha' option 'Depth' to ''"));
  EXPECT_EQ(m_Index, 3);
}

TEST_F(TypeOptionTest, AMissingValueThatIsTheDefaultIsNotStored) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "Label"}));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
}

TEST_F(TypeOptionTest, ADefaultValueIsLoggedAsSetButNotStored) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "depth", "5"}));
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'Alpha' option 'depth' to '5'"));
  EXPECT_EQ(m_Index, 3);
}

TEST_F(TypeOptionTest, OfSeveralOptionsOfOneTypeOnlyTheLastIsKept) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "A", "1"}));
  const auto first = m_Access.m_TypeOptionsMsgs.at(Type(1));
  EXPECT_TRUE(Add({"-TypeOption", "first", "B", "2"}));
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.size(), 1u);
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("B", "2")));
  EXPECT_NE(m_Access.m_TypeOptionsMsgs.at(Type(1))->m_ID, first->m_ID);
  EXPECT_TRUE(first.unique()) << "the replaced message is still held";
}

TEST_F(TypeOptionTest, ADefaultValueLeavesTheOptionBeforeItAlone) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "A", "1"}));
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "Depth", "5"}));
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("A", "1")));
}

TEST_F(TypeOptionTest, ADefaultValueDoesNotTakeTheSameOptionBack) {
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "Depth", "6"}));
  const auto message = m_Access.m_TypeOptionsMsgs.at(Type(1));
  EXPECT_TRUE(Add({"-TypeOption", "Alpha", "Depth", "5"}));
  EXPECT_EQ(m_Access.m_TypeOptionsMsgs.at(Type(1)), message);
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("Depth", "6")));
}

TEST_F(TypeOptionTest, EveryTypeHasAMessageOfItsOwnAndTheyGoOutInTheOrderOfTheTypes) {
  EXPECT_EQ(Run({"-TypeOption", "Beta", "b", "2", "-TypeOption", "Alpha", "a", "1"}), 0);
  ASSERT_EQ(m_Script.m_Sent.size(), 2u);
  const auto& first = static_cast<const SetMasterOptionsMsg&>(*m_Script.m_Sent[0]);
  const auto& second = static_cast<const SetMasterOptionsMsg&>(*m_Script.m_Sent[1]);
  EXPECT_EQ(first.m_Section, Type(1).ToString());
  EXPECT_THAT(first.m_Options, ElementsAre(Pair("a", "1")));
  EXPECT_EQ(second.m_Section, Type(2).ToString());
  EXPECT_THAT(second.m_Options, ElementsAre(Pair("b", "2")));
}

TEST_F(TypeOptionTest, WithoutTypeOrNameIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Add({"-Info", "-TypeOption"}, 1));
  ExpectError(k_TypeOptionNotEnough);
  EXPECT_EQ(m_Index, 1);
}

TEST_F(TypeOptionTest, WithATypeAloneIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Add({"-TypeOption", "Alpha"}));
  ExpectError(k_TypeOptionNotEnough);
  EXPECT_EQ(m_Index, 0);
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
}

TEST_F(TypeOptionTest, ASwitchBehindTooFewValuesIsHandledAsOne) {
  EXPECT_TRUE(Parse({"-TypeOption", "-Info"}));
  EXPECT_TRUE(m_Access.m_ShowInfo);
  EXPECT_EQ(m_Recorder.m_Err, std::string(k_TypeOptionNotEnough) + "\n");
}

TEST_F(TypeOptionTest, AnUnknownTypeIsAnErrorBehindItsValues) {
  EXPECT_FALSE(Add({"-TypeOption", "Gamma", "Depth", "6"}));
  ExpectError("Could not determine Product type from Gamma for -TypeOption");
  EXPECT_EQ(m_Index, 3);
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
}

TEST_F(TypeOptionTest, AnUnknownTypeIsShownAsItStands) {
  EXPECT_FALSE(Add({"-TypeOption", "50%n%s%d", "Depth", "6"}));
  ExpectError("Could not determine Product type from 50%n%s%d for -TypeOption");
}

TEST_F(TypeOptionTest, AnUnknownTypeIsReportedBeforeAnEmptyName) {
  EXPECT_FALSE(Add({"-TypeOption", "", "", ""}));
  ExpectError("Could not determine Product type from  for -TypeOption");
}

TEST_F(TypeOptionTest, TheNullIdentifierHasNoProductAndThatIsReportedBeforeAnEmptyName) {
  EXPECT_FALSE(Add({"-TypeOption", k_Null, "", "6"}));
  ExpectError(std::string("Could not get Type Information for -TypeOption for type: ") + k_Null);
  EXPECT_EQ(m_Index, 3);
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
}

TEST_F(TypeOptionTest, AnEmptyNameIsAnErrorBehindItsValues) {
  EXPECT_FALSE(Add({"-TypeOption", "Alpha", "", "6"}));
  ExpectError(k_TypeOptionEmptyName);
  EXPECT_EQ(m_Index, 3);
  EXPECT_THAT(m_Access.m_TypeOptionsMsgs, IsEmpty());
}

TEST_F(TypeOptionTest, AnErrorLeavesTheEarlierOptionAlone) {
  Add({"-TypeOption", "Alpha", "A", "1"});
  EXPECT_FALSE(Add({"-TypeOption", "Alpha", "", "2"}));
  EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("A", "1")));
}

TEST_F(TypeOptionTest, TheRequestStandsWhenItIsLogged) {
  rlib::Log::SetObserver([&](int, const rlib::String& line) {
    m_Recorder.m_Log.push_back(line.str());
    ASSERT_EQ(m_Access.m_TypeOptionsMsgs.size(), 1u);
    EXPECT_THAT(OptionsOf(1), ElementsAre(Pair("a", "1")));
  });
  Add({"-TypeOption", "Alpha", "a", "1"});
  EXPECT_EQ(m_Recorder.m_Log.size(), 1u);
}

TEST_F(TypeOptionTest, IsTracedUnderTheNameOfTheGlobalOptionsHandler) {
  EXPECT_EQ(TraceOf([&] { Add({"-TypeOption", "Alpha", "a", "1"}); }), "SetwrightApp::AddOption (Setwright");
}

} // namespace
