#include <boost/weak_ptr.hpp>

#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* k_NotEnough = "Not enough parameters for commandline switch -SetUserLimit";
constexpr const char* k_EmptyName = "Cannot set limits for empty Creator user names";
constexpr const char* k_NoLimit = "Cannot set limits without a valid (positive) limit value";
constexpr const char* k_EmptyRemoval = "Cannot remove limits for empty Creator user names";

class UserLimitSwitchTest : public SetwrightTest {
protected:
  /// The handlers' results for the switch at `m_Index`, which they move.
  bool Set(std::vector<const char*> arguments, int index = 0) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_Index = index;
    return m_Access.SetUserLimit(m_Index);
  }
  bool Remove(std::vector<const char*> arguments, int index = 0) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_Index = index;
    return m_Access.RemoveUserLimit(m_Index);
  }
  bool Parse(std::vector<const char*> arguments) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    return m_Access.ParseCommandLine();
  }
  /// The one pending operation.
  void ExpectPending(const char* name, int value) {
    ASSERT_TRUE(m_Access.m_UserLimitsMsg);
    EXPECT_THAT(m_Access.m_UserLimitsMsg->m_OptionNames, ElementsAre("UserLimits"));
    EXPECT_EQ(m_Access.m_UserLimitName, name);
    EXPECT_EQ(m_Access.m_UserLimitValue, value);
  }
  void ExpectNothingPending() {
    EXPECT_FALSE(m_Access.m_UserLimitsMsg);
    EXPECT_EQ(m_Access.m_UserLimitName, "");
    EXPECT_EQ(m_Access.m_UserLimitValue, 0);
  }
  void ExpectLog(const std::string& line) {
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre(line));
    EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
  }
  void ExpectError(const std::string& text) {
    EXPECT_EQ(m_Recorder.m_Err, text + "\n");
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre("ERROR " + text));
    EXPECT_EQ(m_Recorder.m_WrittenAtLastLine, "");
    EXPECT_EQ(m_Recorder.m_Out, "");
    EXPECT_EQ(m_Access.m_ExitCode, 0);
    ExpectNothingPending();
  }

  int m_Index = 0;
};

TEST_F(UserLimitSwitchTest, StartsWithNothingPending) {
  ExpectNothingPending();
}

TEST_F(UserLimitSwitchTest, SettingAsksForTheLimitsAndRemembersNameAndValue) {
  EXPECT_TRUE(Set({"-SetUserLimit", "ann", "4", "more"}));
  ExpectPending("ann", 4);
  EXPECT_EQ(m_Index, 2);
  ExpectLog("SYSTEM Setting user limit for 'ann' to: 4");
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(UserLimitSwitchTest, SettingReadsBehindItsOwnPosition) {
  EXPECT_TRUE(Set({"-SetUserLimit", "ann", "4", "-SetUserLimit", "bob", "5"}, 3));
  ExpectPending("bob", 5);
  EXPECT_EQ(m_Index, 5);
}

TEST_F(UserLimitSwitchTest, ZeroIsALimit) {
  EXPECT_TRUE(Set({"-SetUserLimit", "ann", "0"}));
  ExpectPending("ann", 0);
  ExpectLog("SYSTEM Setting user limit for 'ann' to: 0");
}

TEST_F(UserLimitSwitchTest, TheLargestNumberIsALimit) {
  EXPECT_TRUE(Set({"-SetUserLimit", "ann", "2147483647"}));
  ExpectPending("ann", 2147483647);
}

TEST_F(UserLimitSwitchTest, NamesAreTakenUnchanged) {
  EXPECT_TRUE(Set({"-SetUserLimit", " Ann's \"%d%n\\;=", "1"}));
  ExpectPending(" Ann's \"%d%n\\;=", 1);
  ExpectLog("SYSTEM Setting user limit for ' Ann's \"%d%n\\;=' to: 1");
}

TEST_F(UserLimitSwitchTest, SettingAsTheLastArgumentIsAnErrorThatMovesNothing) {
  EXPECT_FALSE(Set({"-Info", "-SetUserLimit"}, 1));
  EXPECT_EQ(m_Index, 1);
  ExpectError(k_NotEnough);
}

TEST_F(UserLimitSwitchTest, AMissingValueIsNoLimit) {
  EXPECT_FALSE(Set({"-SetUserLimit", "ann"}));
  EXPECT_EQ(m_Index, 2);
  ExpectError(k_NoLimit);
}

TEST_F(UserLimitSwitchTest, ANegativeValueIsNoLimit) {
  EXPECT_FALSE(Set({"-SetUserLimit", "ann", "-1"}));
  EXPECT_EQ(m_Index, 2);
  ExpectError(k_NoLimit);
}

TEST_F(UserLimitSwitchTest, AnEmptyNameHasNoLimit) {
  EXPECT_FALSE(Set({"-SetUserLimit", "", "4"}));
  EXPECT_EQ(m_Index, 2);
  ExpectError(k_EmptyName);
}

TEST_F(UserLimitSwitchTest, OfTwoErrorsTheOneOfTheValueIsReported) {
  EXPECT_FALSE(Set({"-SetUserLimit", "", "-5"}));
  ExpectError(k_NoLimit);
}

TEST_F(UserLimitSwitchTest, AnEmptyNameAsTheLastArgumentHasNoValueEither) {
  EXPECT_FALSE(Set({"-SetUserLimit", ""}));
  EXPECT_EQ(m_Index, 2);
  ExpectError(k_NoLimit);
}

TEST_F(UserLimitSwitchTest, AValueThatIsNoNumberIsReportedAndIsNoLimit) {
  for (const char* text : {"four", "", "4x", " 4", "4.5", "2147483648"}) {
    m_Recorder.m_Err.clear();
    EXPECT_FALSE(Set({"-SetUserLimit", "ann", text})) << text;
    EXPECT_EQ(m_Recorder.m_Err, std::string("Not a whole number from -2147483648 to 2147483647: '") + text +
                                    "'\n" + k_NoLimit + "\n");
    EXPECT_EQ(m_Index, 2);
    ExpectNothingPending();
  }
}

TEST_F(UserLimitSwitchTest, RemovingAsksForTheLimitsAndRemembersTheName) {
  EXPECT_TRUE(Remove({"-Info", "-RemoveUserLimit", "ann", "more"}, 1));
  ExpectPending("ann", -1);
  EXPECT_EQ(m_Index, 2);
  ExpectLog("SYSTEM Removing user Limit for: ann");
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(UserLimitSwitchTest, RemovingAtTheEndOfTheLineIsARemovalOfTheEmptyName) {
  EXPECT_FALSE(Remove({"-RemoveUserLimit"}));
  EXPECT_EQ(m_Index, 1);
  ExpectError(k_EmptyRemoval);
}

TEST_F(UserLimitSwitchTest, TheEmptyNameIsNotRemoved) {
  EXPECT_FALSE(Remove({"-RemoveUserLimit", "", "ann"}));
  EXPECT_EQ(m_Index, 1);
  ExpectError(k_EmptyRemoval);
}

TEST_F(UserLimitSwitchTest, RemovingPastTheEndOfTheLineRemovesAll) {
  m_Access.m_UserLimitName = "ann";
  EXPECT_TRUE(Remove({"-RemoveUserLimit"}, 1));
  EXPECT_EQ(m_Index, 1);
  ExpectPending("", -2);
  ExpectLog("SYSTEM Removing all user Limits");
  EXPECT_TRUE(Remove({}, 0));
  EXPECT_TRUE(Remove({"a", "b"}, 9));
}

TEST_F(UserLimitSwitchTest, ShowingAsksForTheLimits) {
  m_Access.m_UserLimitName = "ann";
  EXPECT_TRUE(m_Access.GetUserLimit());
  ExpectPending("", -3);
  ExpectLog("SYSTEM Requesting to display user Limit information");
}

TEST_F(UserLimitSwitchTest, ShowingTakesNoValue) {
  EXPECT_TRUE(Parse({"-GetUserLimits", "-Info"}));
  EXPECT_TRUE(m_Access.m_ShowInfo);
}

TEST_F(UserLimitSwitchTest, ErrorsLeaveThePendingOperationAsItWas) {
  ASSERT_TRUE(Set({"-SetUserLimit", "ann", "4"}));
  const auto message = m_Access.m_UserLimitsMsg;
  EXPECT_FALSE(Set({"-SetUserLimit"}));
  EXPECT_FALSE(Set({"-SetUserLimit", "", "5"}));
  EXPECT_FALSE(Set({"-SetUserLimit", "bob", "-5"}));
  EXPECT_FALSE(Remove({"-RemoveUserLimit"}));
  ExpectPending("ann", 4);
  EXPECT_EQ(m_Access.m_UserLimitsMsg, message);
}

TEST_F(UserLimitSwitchTest, ASecondRequestReplacesTheFirst) {
  ASSERT_TRUE(Set({"-SetUserLimit", "ann", "4"}));
  boost::weak_ptr<GetMasterOptionsMsg> first = m_Access.m_UserLimitsMsg;
  ASSERT_TRUE(Remove({"-RemoveUserLimit", "bob"}));
  EXPECT_TRUE(first.expired());
  ExpectPending("bob", -1);
}

TEST_F(UserLimitSwitchTest, TheLastAcceptedSwitchWins) {
  EXPECT_TRUE(Parse({"-SetUserLimit", "ann", "4", "-GetUserLimits"}));
  ExpectPending("", -3);
  EXPECT_TRUE(Parse({"-GetUserLimits", "-RemoveUserLimit", "bob"}));
  ExpectPending("bob", -1);
  EXPECT_TRUE(Parse(
      {"-GetUserLimits", "-SetUserLimit", "cat", "2", "-SetUserLimit", "dan", "x", "-RemoveUserLimit"}));
  ExpectPending("cat", 2);
}

TEST_F(UserLimitSwitchTest, ValuesOfRejectedSwitchesAreConsumedToo) {
  EXPECT_FALSE(Parse({"-SetUserLimit", "", "-Info"}));
  EXPECT_FALSE(Parse({"-SetUserLimit", "-Info", "-DumpLogs"}));
  EXPECT_FALSE(m_Access.m_ShowInfo || m_Access.m_LogDumpMsg);
}

TEST_F(UserLimitSwitchTest, RejectedSwitchesAloneAreNotValid) {
  EXPECT_FALSE(Parse({"-SetUserLimit"}));
  EXPECT_FALSE(Parse({"-RemoveUserLimit"}));
  EXPECT_TRUE(Parse({"-SetUserLimit", "ann", "-1", "-RemoveUserLimit", "bob"}));
}

TEST_F(UserLimitSwitchTest, OnlyOneRequestIsSent) {
  EXPECT_EQ(Run({"-SetUserLimit", "ann", "4", "-GetUserLimits", "-SetUserLimit", "bob", "5"}), 0);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("GetMasterOptionsMsg"));
}

TEST_F(UserLimitSwitchTest, TheRequestIsPreparedBeforeItIsLogged) {
  std::vector<std::string> lines;
  const auto expectPending = [&](const char* name, int value, auto call) {
    m_Access.m_UserLimitsMsg.reset();
    rlib::Log::SetObserver([&](int, const rlib::String& line) {
      lines.push_back(line.str());
      ExpectPending(name, value);
    });
    EXPECT_TRUE(call());
    rlib::Log::SetObserver({});
  };
  expectPending("ann", 4, [this] { return Set({"-SetUserLimit", "ann", "4"}); });
  expectPending("bob", -1, [this] { return Remove({"-RemoveUserLimit", "bob"}); });
  expectPending("", -2, [this] { return Remove({}, 0); });
  expectPending("", -3, [this] { return m_Access.GetUserLimit(); });
  EXPECT_EQ(lines.size(), 4u);
}

TEST_F(UserLimitSwitchTest, AreTraced) {
  std::vector<std::string> calls;
  rlib::Log::SetObserver([&](int, const rlib::String&) { calls = OpenCalls(); });
  Set({"-SetUserLimit"});
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::SetUserLimit (Setwright"));
  Remove({"-RemoveUserLimit"});
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::RemoveUserLimit (Setwright"));
  calls.clear();
  m_Access.GetUserLimit(); // under its neighbour's name
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::RemoveUserLimit (Setwright"));
}

} // namespace
