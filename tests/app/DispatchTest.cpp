#include <cctype>

#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Access = SetwrightAppAccess;

struct SwitchCase {
  const char* m_Switch;
  std::vector<const char*> m_Values;
  std::function<bool(Access&)> m_Recorded; // whether the request stands in the application
};

class SwitchTest : public SetwrightTest, public testing::WithParamInterface<SwitchCase> {
protected:
  SwitchTest() { Install(1, "Alpha"); }
  bool Parse(const std::string& name, bool withValues = true) {
    std::vector<const char*> arguments{name.c_str()};
    if (withValues)
      arguments.insert(arguments.end(), GetParam().m_Values.begin(), GetParam().m_Values.end());
    CommandLine cmd = Arguments(arguments);
    return m_Access.ParseCommandLine(cmd);
  }
  template <typename Change>
  static std::string Changed(Change change) {
    std::string text = GetParam().m_Switch;
    for (char& c : text)
      c = static_cast<char>(change(c));
    return text;
  }
};

TEST_P(SwitchTest, RecordsItsRequestAndMakesTheLineValid) {
  EXPECT_FALSE(GetParam().m_Recorded(m_Access));
  EXPECT_TRUE(Parse(GetParam().m_Switch));
  EXPECT_TRUE(GetParam().m_Recorded(m_Access));
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Err, "");
}

TEST_P(SwitchTest, IsTakenInLowerCase) {
  EXPECT_TRUE(Parse(Changed([](int c) { return std::tolower(c); })));
  EXPECT_TRUE(GetParam().m_Recorded(m_Access));
}

TEST_P(SwitchTest, IsTakenInUpperCase) {
  EXPECT_TRUE(Parse(Changed([](int c) { return std::toupper(c); })));
  EXPECT_TRUE(GetParam().m_Recorded(m_Access));
}

TEST_P(SwitchTest, IsNotTakenWithoutItsDashNorAsPartOfALongerWord) {
  const std::string name = GetParam().m_Switch;
  for (const std::string& other : {name.substr(1), name + "x", "-" + name, name + " ", name.substr(0, 4)}) {
    EXPECT_FALSE(Parse(other)) << other;
    EXPECT_FALSE(GetParam().m_Recorded(m_Access)) << other;
  }
}

TEST_P(SwitchTest, IsFoundBehindOtherArguments) {
  std::vector<const char*> arguments{"stray", "-Unknown", "-Info", GetParam().m_Switch};
  arguments.insert(arguments.end(), GetParam().m_Values.begin(), GetParam().m_Values.end());
  arguments.push_back("stray");
  CommandLine cmd = Arguments(arguments);
  EXPECT_TRUE(m_Access.ParseCommandLine(cmd));
  EXPECT_TRUE(GetParam().m_Recorded(m_Access));
  EXPECT_EQ(m_Recorder.m_Err, "");
}

INSTANTIATE_TEST_SUITE_P(
    All, SwitchTest,
    testing::Values(
        SwitchCase{"-Option", {"name", "value"}, [](Access& a) { return !!a.m_OptionsMsg; }},
        SwitchCase{"-TypeOption",
                   {"Alpha", "name", "value"},
                   [](Access& a) { return !a.m_TypeOptionsMsgs.empty(); }},
        SwitchCase{"-Limit", {"Alpha", "4"}, [](Access& a) { return !!a.m_LimitsMsg; }},
        SwitchCase{
            "-AddRestriction",
            {"name"},
            [](Access& a) { return a.m_RestrictionsMsg && a.m_RestrictionsMsg->m_Restrictions.at("name"); }},
        SwitchCase{
            "-RemoveRestriction",
            {"name"},
            [](Access& a) { return a.m_RestrictionsMsg && !a.m_RestrictionsMsg->m_Restrictions.at("name"); }},
        SwitchCase{"-CopyFile", {OPTIONS_FILE}, [](Access& a) { return !!a.m_OptionsMsg; }},
        // An export records nothing but its failure.
        SwitchCase{"-ExportProduct", {"Gamma", "x"}, [](Access& a) { return a.m_ExitCode == 1; }},
        SwitchCase{"-ImportProduct", {SAMPLE_PRODUCT}, [](Access& a) { return !a.m_ProductMsgs.empty(); }},
        SwitchCase{"-RemoveProduct", {"Alpha"}, [](Access& a) { return !a.m_ProductMsgs.empty(); }},
        SwitchCase{"-Info", {}, [](Access& a) { return a.m_ShowInfo; }},
        SwitchCase{"-DumpLogs", {}, [](Access& a) { return !!a.m_LogDumpMsg; }},
        SwitchCase{"-SuperExit", {}, [](Access& a) { return a.m_SuperExit; }},
        SwitchCase{"-Reboot", {}, [](Access& a) { return a.m_Reboot; }},
        SwitchCase{"-Shutdown", {}, [](Access& a) { return a.m_Shutdown; }}),
    [](const auto& info) { return std::string(info.param.m_Switch + 1); });

bool UserLimit(Access& a, const char* name, int value) {
  return a.m_UserLimitsMsg && a.m_UserLimitName == name && a.m_UserLimitValue == value;
}

INSTANTIATE_TEST_SUITE_P(
    UserLimitsAndTranslations, SwitchTest,
    testing::Values(
        SwitchCase{"-SetUserLimit", {"ann", "4"}, [](Access& a) { return UserLimit(a, "ann", 4); }},
        SwitchCase{"-RemoveUserLimit", {"ann"}, [](Access& a) { return UserLimit(a, "ann", -1); }},
        SwitchCase{"-GetUserLimits", {}, [](Access& a) { return UserLimit(a, "", -3); }},
        SwitchCase{"-GetPathTranslations", {}, [](Access& a) { return a.m_ShowPathTranslations; }},
        SwitchCase{
            "-PathTranslation", {"X:", "/x", "/Vx"}, [](Access& a) { return !a.m_AddTranslations.empty(); }},
        SwitchCase{"-RemovePathTranslation", {"X:"}, [](Access& a) { return !a.m_RemoveRoots.empty(); }}),
    [](const auto& info) { return std::string(info.param.m_Switch + 1); });

class DispatchTest : public SetwrightTest {
protected:
  bool Parse(std::vector<const char*> arguments) {
    CommandLine cmd = Arguments(std::move(arguments));
    return m_Access.ParseCommandLine(cmd);
  }
};

TEST_F(DispatchTest, AnEmptyLineIsNotValid) {
  EXPECT_FALSE(Parse({}));
}

TEST_F(DispatchTest, UnknownSwitchesAndStrayValuesAreSkippedWithoutAWord) {
  EXPECT_FALSE(Parse({"-Unknown", "value", "", "-", "--", "Option"}));
  EXPECT_THAT(m_Recorder.m_Log, IsEmpty());
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(DispatchTest, HelpAndJsonAreNotSwitchesOfTheTable) {
  EXPECT_FALSE(Parse({"-h", "-JSON"}));
}

TEST_F(DispatchTest, InfoWithAnUnknownSwitchIsValid) {
  EXPECT_TRUE(Parse({"-Info", "-Unknown"}));
}

TEST_F(DispatchTest, AValidSwitchBehindAnUnknownOneIsValid) {
  EXPECT_TRUE(Parse({"-Unknown", "-Info"}));
}

TEST_F(DispatchTest, AFailingHandlerAloneIsNotValid) {
  EXPECT_FALSE(Parse({"-Option", "", "value"}));
  EXPECT_THAT(m_Recorder.m_Log,
              ElementsAre("ERROR Empty option names are not allowed for commandline switch -Option"));
}

TEST_F(DispatchTest, AFailingHandlerNextToASuccessfulOneIsValid) {
  EXPECT_TRUE(Parse({"-Option", "", "value", "-Option", "a", "1"}));
  EXPECT_TRUE(Parse({"-Option", "a", "1", "-Option", "", "value"}));
  EXPECT_TRUE(Parse({"-DumpLogs", "-Option"}));
}

TEST_F(DispatchTest, EveryHandlerRunsAlsoOnceTheLineIsValid) {
  EXPECT_TRUE(Parse({"-Info", "-Reboot", "-Shutdown", "-SuperExit", "-DumpLogs", "-Option", "a", "1"}));
  EXPECT_TRUE(m_Access.m_Reboot && m_Access.m_Shutdown && m_Access.m_SuperExit);
  EXPECT_TRUE(m_Access.m_LogDumpMsg && m_Access.m_OptionsMsg);
}

TEST_F(DispatchTest, ConsumedValuesAreNotTakenForSwitches) {
  EXPECT_TRUE(Parse({"-Option", "-Reboot", "-Shutdown"}));
  EXPECT_FALSE(m_Access.m_Reboot || m_Access.m_Shutdown);
  EXPECT_EQ(m_Access.m_OptionsMsg->m_Options.at("-Reboot"), "-Shutdown");
}

TEST_F(DispatchTest, ASwitchRightBehindConsumedValuesIsTaken) {
  EXPECT_TRUE(Parse({"-Option", "a", "1", "-Reboot"}));
  EXPECT_TRUE(m_Access.m_Reboot);
}

TEST_F(DispatchTest, ValuesOfARejectedOptionAreConsumedToo) {
  EXPECT_FALSE(Parse({"-Option", "", "-Reboot"}));
  EXPECT_FALSE(m_Access.m_Reboot);
}

TEST_F(DispatchTest, AStrayValueBehindACompleteSwitchIsSkipped) {
  EXPECT_TRUE(Parse({"-Option", "a", "1", "2", "-Info"}));
  EXPECT_EQ(m_Access.m_OptionsMsg->m_Options.size(), 1u);
  EXPECT_TRUE(m_Access.m_ShowInfo);
}

TEST_F(DispatchTest, SwitchesAreHandledInTheOrderOfTheLine) {
  Parse({"-Shutdown", "-DumpLogs", "-Option", "a", "1", "-Reboot", "-SuperExit"});
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("SYSTEM Requesting to shutdown the Master's machine",
                                            "SYSTEM Requesting system-wide log dump",
                                            "SYSTEM Setting Distribution option 'a' to '1'",
                                            "SYSTEM Requesting to reboot the Master's machine",
                                            "SYSTEM Requesting system-wide shutdown"));
}

TEST_F(DispatchTest, AFailedProductSwitchMakesTheLineValid) {
  for (const char* name : {"-ExportProduct", "-ImportProduct", "-RemoveProduct"})
    EXPECT_TRUE(Parse({name})) << name;
}

TEST_F(DispatchTest, AFailedSettingsSwitchDoesNotMakeTheLineValid) {
  for (const char* name : {"-TypeOption", "-Limit", "-AddRestriction", "-RemoveRestriction"})
    EXPECT_FALSE(Parse({name})) << name;
}

TEST_F(DispatchTest, TheArgumentsAreCountedAgainBehindEachHandler) {
  m_Access.m_CommandLine = Arguments({"-DumpLogs"});
  rlib::Log::SetObserver([&](int, const rlib::String&) {
    m_Access.m_CommandLine = Arguments({"-DumpLogs", "-Reboot"});
  });
  m_Access.ParseCommandLine();
  EXPECT_TRUE(m_Access.m_Reboot);
}

TEST_F(DispatchTest, EveryRepetitionIsHandled) {
  Parse({"-Reboot", "-REBOOT"});
  EXPECT_EQ(m_Recorder.m_Log.size(), 2u);
}

TEST_F(DispatchTest, IsTracedBelowTheHandlers) {
  std::vector<std::string> calls;
  rlib::Log::SetObserver([&](int, const rlib::String&) { calls = OpenCalls(); });
  Parse({"-DumpLogs"});
  EXPECT_THAT(calls,
              ElementsAre("SetwrightApp::DumpLogs (Setwright", "SetwrightApp::ParseCommandLine (Setwright"));
}

} // namespace
