#include "brenic/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "application/Line.h"
#include "rlib/Failures.h"
#include "scripted/Recorder.h"

using namespace brenic;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int k_Lowest = std::numeric_limits<int>::min();

TEST(CommandLine, TheProgramsNameIsNotCounted) {
  EXPECT_EQ(CommandLine().GetArgumentCount(nullptr), 0);
  EXPECT_EQ(CommandLine(0, nullptr).GetArgumentCount(nullptr), 0);
  EXPECT_EQ(Line({}).GetArgumentCount(nullptr), 0);
  EXPECT_EQ(Line({"a", "", "-b"}).GetArgumentCount(nullptr), 3);
  EXPECT_EQ(Line({"a"}).GetArgument(nullptr, 0, k_Empty), "a");
}

TEST(CommandLine, PositionsGiveTheArgumentsAndBeyondThemTheDefault) {
  const CommandLine line = Line({"-a", "", "b c"});
  EXPECT_EQ(line.GetArgument(nullptr, 0, "?"), "-a");
  EXPECT_EQ(line.GetArgument(nullptr, 1, "?"), "");
  EXPECT_EQ(line.GetArgument(nullptr, 2, "?"), "b c");
  for (const int index : {3, 4, 1000000, -1, k_Lowest, std::numeric_limits<int>::max()})
    EXPECT_EQ(line.GetArgument(nullptr, index, "?"), "?") << index;
}

TEST(CommandLine, ASwitchIsFoundAnywhereIgnoringCase) {
  const CommandLine line = Line({"-Option", "-json", "value", "-H"});
  for (const char* name : {"Option", "OPTION", "JSON", "json", "h", "H"})
    EXPECT_TRUE(line.HasSwitch(name)) << name;
  for (const char* name : {"value", "Opt", "Options", "-Option", "", "help"})
    EXPECT_FALSE(line.HasSwitch(name)) << name;
}

TEST(CommandLine, ASwitchIsWrittenWithOneDash) {
  EXPECT_FALSE(Line({"--h", "h", "-h ", " -h", "/h"}).HasSwitch("h"));
}

TEST(CommandLine, ANameGivesWhatFollowsItsLastOccurrence) {
  const CommandLine line = Line({"-Master", "first", "x", "-MASTER", "second", "third"});
  EXPECT_EQ(line.GetArgument("master", 0, "?"), "second");
  EXPECT_EQ(line.GetArgument("Master", 1, "?"), "third");
  EXPECT_EQ(line.GetArgument("Master", 2, "?"), "?");
  EXPECT_EQ(line.GetArgument("Master", -1, "?"), "?");
  EXPECT_EQ(line.GetArgumentCount("Master"), 2);
}

TEST(CommandLine, AnAbsentNameGivesTheDefault) {
  const CommandLine line = Line({"a", "b"});
  EXPECT_EQ(line.GetArgument("Master", 0, "?"), "?");
  EXPECT_EQ(line.GetArgumentCount("Master"), 0);
}

TEST(CommandLine, ANameAtTheEndHasNoArguments) {
  EXPECT_EQ(Line({"-Master"}).GetArgument("Master", 0, "?"), "?");
  EXPECT_EQ(Line({"-Master"}).GetArgumentCount("Master"), 0);
}

class CommandLineNumberTest : public testing::Test {
protected:
  scripted::Recorder m_Recorder;
};

TEST_F(CommandLineNumberTest, WholeNumbersOf32BitsAreRead) {
  const CommandLine line = Line({"5", "-1", "0", "2147483647", "-2147483648", "-n", "42"});
  EXPECT_EQ(line.GetArgument(nullptr, 0, 9), 5);
  EXPECT_EQ(line.GetArgument(nullptr, 1, 9), -1);
  EXPECT_EQ(line.GetArgument(nullptr, 2, 9), 0);
  EXPECT_EQ(line.GetArgument(nullptr, 3, 9), 2147483647);
  EXPECT_EQ(line.GetArgument(nullptr, 4, 9), k_Lowest);
  EXPECT_EQ(line.GetArgument("n", 0, 9), 42);
  EXPECT_FALSE(rlib::AnyFailureNoted());
  EXPECT_THAT(m_Recorder.m_Log, IsEmpty());
}

TEST_F(CommandLineNumberTest, BeyondTheEndTheDefaultIsNoError) {
  const CommandLine line = Line({"-n"});
  EXPECT_EQ(line.GetArgument(nullptr, 1, -1), -1);
  EXPECT_EQ(line.GetArgument(nullptr, -1, 7), 7);
  EXPECT_EQ(line.GetArgument("n", 0, 8), 8);
  EXPECT_EQ(line.GetArgument("m", 0, 9), 9);
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

TEST_F(CommandLineNumberTest, AnythingElseIsAReportedInputErrorAndTheLowestNumber) {
  for (const char* text : {"", " ", "five", "5x", "x5", "5 ", " 5", "1.5", "0x10", "1e3", "2147483648",
                           "-2147483649", "99999999999999999999", "--1", "-", "+"}) {
    rlib::ResetNotedFailures();
    m_Recorder.m_Log.clear();
    m_Recorder.m_Err.clear();
    EXPECT_EQ(Line({text}).GetArgument(nullptr, 0, 9), k_Lowest) << text;
    EXPECT_TRUE(rlib::AnyFailureNoted()) << text;
    const std::string line = std::string("Not a whole number from -2147483648 to 2147483647: '") + text + "'";
    EXPECT_EQ(m_Recorder.m_Err, line + "\n");
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre("ERROR " + line));
  }
}

} // namespace
