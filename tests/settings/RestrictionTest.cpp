#include "scripted/SwitchHandlerTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::Pair;

namespace {

class RestrictionTest : public SwitchHandlerTest {
protected:
  bool Add(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::AddRestriction, std::move(arguments), index, true);
  }
  bool Remove(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::AddRestriction, std::move(arguments), index, false);
  }
};

TEST_F(RestrictionTest, AnAddedOneIsStoredAsTrue) {
  EXPECT_TRUE(Add({"-AddRestriction", "NoDelete"}));
  ASSERT_TRUE(m_Access.m_RestrictionsMsg);
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("NoDelete", true)));
  EXPECT_EQ(m_Index, 1);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Adding restriction: NoDelete"));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(RestrictionTest, ARemovedOneIsStoredAsFalse) {
  EXPECT_TRUE(Remove({"-RemoveRestriction", "NoDelete"}));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("NoDelete", false)));
  EXPECT_EQ(m_Index, 1);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Removing restriction: NoDelete"));
}

TEST_F(RestrictionTest, ReadsItsNameBehindItsOwnPosition) {
  EXPECT_TRUE(Add({"-AddRestriction", "a", "-AddRestriction", "b", "-Info"}, 2));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("b", true)));
  EXPECT_EQ(m_Index, 3);
}

TEST_F(RestrictionTest, TheLastSwitchOfANameWins) {
  EXPECT_EQ(Run({"-AddRestriction", "X", "-RemoveRestriction", "X"}), 0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterRestrictionsMsg"));
  EXPECT_THAT(static_cast<const SetMasterRestrictionsMsg&>(*m_Script.m_Sent[0]).m_Restrictions,
              ElementsAre(Pair("X", false)));
}

TEST_F(RestrictionTest, EverySwitchIsLogged) {
  EXPECT_TRUE(Parse({"-AddRestriction", "X", "-RemoveRestriction", "X", "-AddRestriction", "X"}));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Adding restriction: X", "SYSTEM Removing restriction: X",
                                            "SYSTEM Adding restriction: X"));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("X", true)));
}

TEST_F(RestrictionTest, NamesThatDifferInCaseAreDifferentOnesInByteOrder) {
  EXPECT_TRUE(Parse({"-AddRestriction", "x", "-AddRestriction", "X"}));
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("X", true), Pair("x", true)));
}

TEST_F(RestrictionTest, LaterOnesUseTheSameMessage) {
  Add({"-AddRestriction", "a"});
  const auto message = m_Access.m_RestrictionsMsg;
  EXPECT_TRUE(Remove({"-RemoveRestriction", "b"}));
  EXPECT_EQ(m_Access.m_RestrictionsMsg, message);
  EXPECT_THAT(message->m_Restrictions, ElementsAre(Pair("a", true), Pair("b", false)));
}

TEST_F(RestrictionTest, ANameMayLookLikeASwitch) {
  EXPECT_TRUE(Parse({"-AddRestriction", "-Info"}));
  EXPECT_FALSE(m_Access.m_ShowInfo);
  EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("-Info", true)));
}

TEST_F(RestrictionTest, AddingAsTheLastArgumentIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Add({"-Info", "-AddRestriction"}, 1));
  ExpectError("Not enough parameters for commandline switch -AddRestriction");
  EXPECT_EQ(m_Index, 1);
  EXPECT_FALSE(m_Access.m_RestrictionsMsg);
}

TEST_F(RestrictionTest, RemovingAsTheLastArgumentIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Remove({"-Info", "-RemoveRestriction"}, 1));
  ExpectError("Not enough parameters for commandline switch -RemoveRestriction");
  EXPECT_EQ(m_Index, 1);
  EXPECT_FALSE(m_Access.m_RestrictionsMsg);
}

TEST_F(RestrictionTest, AddingAnEmptyNameIsAnErrorBehindIt) {
  EXPECT_FALSE(Add({"-AddRestriction", "", "x"}));
  ExpectError("Cannot add empty restriction name");
  EXPECT_EQ(m_Index, 1);
  EXPECT_FALSE(m_Access.m_RestrictionsMsg);
}

TEST_F(RestrictionTest, RemovingAnEmptyNameIsAnErrorBehindIt) {
  EXPECT_FALSE(Remove({"-RemoveRestriction", ""}));
  ExpectError("Cannot remove empty restriction name");
  EXPECT_EQ(m_Index, 1);
  EXPECT_FALSE(m_Access.m_RestrictionsMsg);
}

TEST_F(RestrictionTest, TheRequestStandsWhenItIsLogged) {
  rlib::Log::SetObserver([&](int, const rlib::String& line) {
    m_Recorder.m_Log.push_back(line.str());
    ASSERT_TRUE(m_Access.m_RestrictionsMsg);
    EXPECT_THAT(m_Access.m_RestrictionsMsg->m_Restrictions, ElementsAre(Pair("a", false)));
  });
  Remove({"-RemoveRestriction", "a"});
  EXPECT_EQ(m_Recorder.m_Log.size(), 1u);
}

TEST_F(RestrictionTest, BothAreTracedUnderTheNameOfAdding) {
  EXPECT_EQ(TraceOf([&] { Add({"-AddRestriction", "a"}); }), "SetwrightApp::AddRestriction (Setwright");
  EXPECT_EQ(TraceOf([&] { Remove({"-RemoveRestriction", "a"}); }), "SetwrightApp::AddRestriction (Setwright");
}

} // namespace
