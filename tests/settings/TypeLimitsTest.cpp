#include <limits>

#include "scripted/SwitchHandlerTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::Pair;

namespace {

class TypeLimitsTest : public SwitchHandlerTest {
protected:
  TypeLimitsTest() {
    Install(1, "Alpha", {"first"});
    Install(2, "Beta");
  }
  bool Add(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::AddLimit, std::move(arguments), index);
  }
};

TEST_F(TypeLimitsTest, StoresTheLimitUnderItsTypeAndMovesBehindIt) {
  EXPECT_TRUE(Add({"-Limit", "Alpha", "4"}));
  ASSERT_TRUE(m_Access.m_LimitsMsg);
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), 4)));
  EXPECT_EQ(m_Index, 2);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'Alpha' Limit 4"));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(TypeLimitsTest, ReadsItsValuesBehindItsOwnPosition) {
  EXPECT_TRUE(Add({"-Limit", "Alpha", "1", "-Limit", "Beta", "2", "-Info"}, 3));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(2), 2)));
  EXPECT_EQ(m_Index, 5);
}

TEST_F(TypeLimitsTest, AMissingLimitIsMinusOne) {
  EXPECT_TRUE(Add({"-Limit", "Alpha"}));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), -1)));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'Alpha' Limit -1"));
  EXPECT_EQ(m_Index, 2);
}

TEST_F(TypeLimitsTest, AnyWholeNumberIsStoredAsGiven) {
  for (const auto& [text, limit] :
       std::map<const char*, int>{{"0", 0},
                                  {"-1", -1},
                                  {"-5", -5},
                                  {"+7", 7},
                                  {"2147483647", std::numeric_limits<int>::max()},
                                  {"-2147483648", std::numeric_limits<int>::min()}}) {
    EXPECT_TRUE(Add({"-Limit", "Alpha", text})) << text;
    EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), limit))) << text;
  }
  EXPECT_EQ(m_Recorder.m_Err, "");
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

TEST_F(TypeLimitsTest, WhatIsNoWholeNumberIsReportedAndBecomesTheLowestNumber) {
  for (const char* text : {"", "abc", "12abc", "1.5", " 1", "2147483648", "-Info"}) {
    m_Recorder.m_Err.clear();
    EXPECT_TRUE(Add({"-Limit", "Alpha", text})) << text;
    EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), std::numeric_limits<int>::min())));
    EXPECT_EQ(m_Recorder.m_Err,
              std::string("Not a whole number from -2147483648 to 2147483647: '") + text + "'\n");
    EXPECT_EQ(m_Recorder.m_Log.back(), "SYSTEM Setting 'Alpha' Limit -2147483648");
    EXPECT_EQ(m_Index, 2);
  }
  EXPECT_TRUE(rlib::AnyFailureNoted());
}

TEST_F(TypeLimitsTest, TheLastLimitOfATypeIsKeptHoweverTheTypeIsSpelled) {
  EXPECT_TRUE(Add({"-Limit", "Alpha", "3"}));
  const auto message = m_Access.m_LimitsMsg;
  EXPECT_TRUE(Add({"-Limit", "FIRST", "5"}));
  EXPECT_EQ(m_Access.m_LimitsMsg, message);
  EXPECT_THAT(message->m_Limits, ElementsAre(Pair(Type(1), 5)));
  EXPECT_THAT(m_Recorder.m_Log,
              ElementsAre("SYSTEM Setting 'Alpha' Limit 3", "SYSTEM Setting 'FIRST' Limit 5"));
}

TEST_F(TypeLimitsTest, TheTypeIsLoggedAsItWasTyped) {
  EXPECT_TRUE(Add({"-Limit", "aLPHA", "3"}));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Setting 'aLPHA' Limit 3"));
}

TEST_F(TypeLimitsTest, ATypeWithoutAProductHasALimitToo) {
  EXPECT_TRUE(Add({"-Limit", "00000000-0000-0000-0000-000000000000", "3"}));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(rlib::UID::Null, 3)));
}

TEST_F(TypeLimitsTest, AllLimitsGoOutInOneMessage) {
  EXPECT_EQ(Run({"-Limit", "Beta", "2", "-Limit", "Alpha", "1"}), 0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterLimitsMsg"));
  EXPECT_THAT(static_cast<const SetMasterLimitsMsg&>(*m_Script.m_Sent[0]).m_Limits,
              ElementsAre(Pair(Type(1), 1), Pair(Type(2), 2)));
}

TEST_F(TypeLimitsTest, AsTheLastArgumentIsAnErrorWithTheTextOfTypeOption) {
  EXPECT_FALSE(Add({"-Info", "-Limit"}, 1));
  ExpectError("Not enough parameters for commandline switch -TypeOption");
  EXPECT_EQ(m_Index, 1);
  EXPECT_FALSE(m_Access.m_LimitsMsg);
}

TEST_F(TypeLimitsTest, AnUnknownTypeIsAnErrorBehindItsValues) {
  EXPECT_FALSE(Add({"-Limit", "50%d", "4"}));
  ExpectError("Could not determine Product type from '50%d' for -Limit");
  EXPECT_EQ(m_Index, 2);
  EXPECT_FALSE(m_Access.m_LimitsMsg);
}

TEST_F(TypeLimitsTest, AnErrorLeavesEarlierLimitsAlone) {
  Add({"-Limit", "Alpha", "4"});
  EXPECT_FALSE(Add({"-Limit", "", "5"}));
  EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), 4)));
}

TEST_F(TypeLimitsTest, TheRequestStandsWhenItIsLogged) {
  rlib::Log::SetObserver([&](int, const rlib::String& line) {
    m_Recorder.m_Log.push_back(line.str());
    ASSERT_TRUE(m_Access.m_LimitsMsg);
    EXPECT_THAT(m_Access.m_LimitsMsg->m_Limits, ElementsAre(Pair(Type(1), 4)));
  });
  Add({"-Limit", "Alpha", "4"});
  EXPECT_EQ(m_Recorder.m_Log.size(), 1u);
}

TEST_F(TypeLimitsTest, IsTraced) {
  EXPECT_EQ(TraceOf([&] { Add({"-Limit", "Alpha", "4"}); }), "SetwrightApp::AddLimit (Setwright");
}

} // namespace
