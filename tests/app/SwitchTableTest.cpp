#include "SwitchTable.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "TempFolder.h"
#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;

namespace {

using Words = std::vector<const char*>;

constexpr size_t k_MostWords = 4;

/// Every sequence of `count` of these words.
std::vector<Words> Sequences(const Words& words, size_t count) {
  std::vector<Words> sequences{{}};
  for (size_t i = 0; i < count; ++i) {
    std::vector<Words> longer;
    for (const Words& sequence : sequences) {
      for (const char* word : words) {
        longer.push_back(sequence);
        longer.back().push_back(word);
      }
    }
    sequences = std::move(longer);
  }
  return sequences;
}

class SwitchTableTest : public SetwrightTest {
protected:
  SwitchTableTest() {
    Install(1, "Alpha");
    std::filesystem::current_path(m_Folder.Name()); // exports write files
  }
  ~SwitchTableTest() override { std::filesystem::current_path(m_Before); }

  /// The names at the beginnings of these lines of the help: all switches of the overview, or all headings.
  std::multiset<std::string> HelpNames(bool overview) {
    m_Access.Usage();
    const std::string& text = m_Recorder.m_Out;
    const size_t details = text.find("You can get a report");
    const size_t common = text.find("You can also add any common");
    EXPECT_TRUE(details < common && common != std::string::npos);
    std::istringstream lines(overview ? text.substr(0, details) : text.substr(details, common - details));
    const std::string beginning = overview ? "       -" : "-";
    std::multiset<std::string> names;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(beginning)) {
        const size_t dash = beginning.size() - 1;
        names.insert(line.substr(dash, line.find(' ', dash) - dash));
      }
    }
    return names;
  }
  static std::multiset<std::string> TableNames() {
    std::multiset<std::string> names;
    for (const SwitchRow& row : SwitchTable::Rows())
      names.insert(row.m_Name);
    return names;
  }

  const TempFolder m_Folder;
  const std::filesystem::path m_Before = std::filesystem::current_path();
};

class SwitchRowTest : public SwitchTableTest, public testing::WithParamInterface<const SwitchRow*> {
protected:
  /// How many of these words behind it the switch consumes. It does not stand at the beginning of the line.
  int Consumed(const Words& behind) {
    m_Line = {"stray", m_Row.m_Name};
    m_Line.insert(m_Line.end(), behind.begin(), behind.end());
    CommandLine cmd = Arguments(m_Line);
    m_Recorder.m_Out.clear();
    m_Recorder.m_Err.clear();
    int index = 1;
    SwitchTable::Handle(m_App, cmd, index);
    return index - 1;
  }
  /// Whether it was said just now that there are not enough arguments.
  bool SaidNotEnough() const {
    return (m_Recorder.m_Out + m_Recorder.m_Err).find("Not enough") != std::string::npos;
  }
  std::string Line() const {
    std::string line;
    for (const char* argument : m_Line)
      line += "'" + std::string(argument) + "' ";
    return line;
  }

  const SwitchRow& m_Row = *GetParam();
  Words m_Line;
};

TEST_P(SwitchRowTest, WithFewerArgumentsThanItNeedsSaysSoAndConsumesNothing) {
  for (int count = 0; count < m_Row.m_Least; ++count) {
    for (const Words& words : Sequences({"Alpha", "4", "", "-Info"}, static_cast<size_t>(count))) {
      EXPECT_EQ(Consumed(words), 0) << Line();
      EXPECT_TRUE(SaidNotEnough()) << Line();
    }
  }
}

TEST_P(SwitchRowTest, WithTheArgumentsThatItNeedsDoesNotMissAnyAndConsumesTheMost) {
  for (size_t count = static_cast<size_t>(m_Row.m_Least); count <= k_MostWords; ++count) {
    for (const Words& words : Sequences({"Alpha", "4"}, count)) {
      EXPECT_EQ(Consumed(words), m_Row.m_Consumed.m_Most) << Line();
      EXPECT_FALSE(SaidNotEnough()) << Line();
    }
  }
}

TEST_P(SwitchRowTest, ConsumesBetweenTheFewestAndTheMostWhateverTheWordsAre) {
  std::set<int> seen;
  for (size_t count = static_cast<size_t>(m_Row.m_Least); count <= k_MostWords; ++count) {
    for (const Words& words : Sequences({"Alpha", "4", "", "-Info"}, count))
      seen.insert(Consumed(words));
  }
  EXPECT_EQ(*seen.begin(), m_Row.m_Consumed.m_Fewest);
  EXPECT_EQ(*seen.rbegin(), m_Row.m_Consumed.m_Most);
  EXPECT_EQ(seen.size() > 1, m_Row.m_Consumed.Varies());
}

TEST_P(SwitchRowTest, TheDispatchGoesOnBehindWhatItConsumed) {
  for (int count = 0; count <= static_cast<int>(k_MostWords); ++count) {
    SetwrightApp app;
    SetwrightAppAccess access(app);
    const bool isReboot = m_Row.m_Name == std::string("-Reboot");
    Words line{m_Row.m_Name};
    line.insert(line.end(), static_cast<size_t>(count), "Alpha");
    line.push_back(isReboot ? "-Shutdown" : "-Reboot");
    CommandLine cmd = Arguments(line);
    access.ParseCommandLine(cmd);
    // What stands right behind the switch is itself one, which is what the numbers vary with.
    const int consumed = count + 1 < m_Row.m_Least ? 0
                         : count == 0              ? m_Row.m_Consumed.m_Fewest
                                                   : m_Row.m_Consumed.m_Most;
    EXPECT_EQ(isReboot ? access.m_Shutdown : access.m_Reboot, consumed <= count) << count;
  }
}

std::vector<const SwitchRow*> AllRows() {
  std::vector<const SwitchRow*> rows;
  for (const SwitchRow& row : SwitchTable::Rows())
    rows.push_back(&row);
  return rows;
}

INSTANTIATE_TEST_SUITE_P(All, SwitchRowTest, testing::ValuesIn(AllRows()),
                         [](const auto& info) { return std::string(info.param->m_Name + 1); });

TEST_F(SwitchTableTest, HasTheSwitchesOfTheHelpsOverviewOnceEach) {
  EXPECT_EQ(HelpNames(true), TableNames());
}

TEST_F(SwitchTableTest, HasTheSwitchesThatTheHelpExplainsOnceEach) {
  EXPECT_EQ(HelpNames(false), TableNames());
}

TEST_F(SwitchTableTest, IsInTheOrderInWhichArgumentsAreCompared) {
  std::vector<std::string> names;
  for (const SwitchRow& row : SwitchTable::Rows())
    names.emplace_back(row.m_Name);
  EXPECT_THAT(names, testing::ElementsAreArray({"-Option",
                                                "-TypeOption",
                                                "-Limit",
                                                "-AddRestriction",
                                                "-RemoveRestriction",
                                                "-SetUserLimit",
                                                "-RemoveUserLimit",
                                                "-GetUserLimits",
                                                "-CopyFile",
                                                "-ExportProduct",
                                                "-ImportProduct",
                                                "-RemoveProduct",
                                                "-Info",
                                                "-DumpLogs",
                                                "-SuperExit",
                                                "-GetPathTranslations",
                                                "-PathTranslation",
                                                "-RemovePathTranslation",
                                                "-Reboot",
                                                "-Shutdown"}));
}

TEST_F(SwitchTableTest, OnlyTheProductSwitchesVary) {
  std::set<std::string> varying;
  for (const SwitchRow& row : SwitchTable::Rows()) {
    if (row.m_Consumed.Varies())
      varying.insert(row.m_Name);
  }
  EXPECT_EQ(varying, (std::set<std::string>{"-ExportProduct", "-ImportProduct", "-RemoveProduct"}));
}

} // namespace
