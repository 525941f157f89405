// What is logged, shown and dumped.
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "LogFixture.h"

using rlib::Log;
using rlib::String;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

namespace {

TEST_F(LogTest, LineHasTimeProcessThreadLevelAndText) {
  ASSERT_TRUE(Open());
  rlib::LogWarning("Some text");
  const std::regex line(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z )" + std::to_string(getpid()) + " " +
                        std::to_string(gettid()) + " WARNING Some text\n");
  EXPECT_TRUE(std::regex_match(Written(), line)) << Written();
}

TEST_F(LogTest, FileLevelChoosesLines) {
  ASSERT_TRUE(Open(Log::k_System));
  rlib::LogError("e1");
  rlib::LogWarning("w2");
  rlib::LogSystem("s3");
  rlib::LogInfo("i4");
  rlib::LogDebug("d5");
  rlib::LogTrace("t6");
  for (const char* text : {"ERROR e1", "WARNING w2", "SYSTEM s3"})
    EXPECT_THAT(Written(), HasSubstr(text));
  for (const char* text : {"i4", "d5", "t6"})
    EXPECT_THAT(Written(), Not(HasSubstr(text)));
  EXPECT_EQ(m_Shown, "");
}

TEST_F(LogTest, DisplayLevelChoosesLinesForStdErr) {
  ASSERT_TRUE(Open(0, Log::k_Error));
  rlib::LogError("e1");
  rlib::LogWarning("w2");
  EXPECT_THAT(m_Shown, EndsWith(" ERROR e1\n"));
  EXPECT_FALSE(std::filesystem::exists(m_Folder / "test.log"));
}

TEST_F(LogTest, ControlCharactersAreEscaped) {
  ASSERT_TRUE(Open());
  rlib::LogError("x\n2026-01-01T00:00:00.000Z 1 1 ERROR forged");
  EXPECT_EQ(std::ranges::count(Written(), '\n'), 1);
}

TEST_F(LogTest, ReportLogsTheLineWithItsLevelThenShowsIt) {
  ASSERT_TRUE(Open());
  std::vector<std::pair<int, std::string>> logged;
  Log::SetObserver([&](int level, const String& text) {
    EXPECT_EQ(static_cast<size_t>(std::ranges::count(m_Shown, '\n')), logged.size());
    logged.emplace_back(level, text.str());
  });
  rlib::Report(Log::k_Error, "Cannot read it");
  rlib::Report(Log::k_Warning, "P:\\proj \xc3\xa4 \xff %s");
  Log::SetObserver({});
  EXPECT_EQ(m_Shown, "Cannot read it\nP:\\proj \xc3\xa4 \xff %s\n");
  EXPECT_THAT(logged, ElementsAre(Pair(Log::k_Error, "Cannot read it"),
                                  Pair(Log::k_Warning, "P:\\proj \xc3\xa4 \xff %s")));
  EXPECT_THAT(Written(), EndsWith(" WARNING P:\\proj \xc3\xa4 \xff %s\n"));
}

TEST_F(LogTest, ReportShowsAndLogsOneLineWhateverItQuotes) {
  ASSERT_TRUE(Open());
  rlib::Report(Log::k_Error, "'a\nERROR forged\r\x1b[2J\t\x7f" + String("\0", 1) + "\xc2\x9b'");
  const std::string line = R"('a\nERROR forged\r\x1b[2J\t\x7f\x00\xc2\x9b')";
  EXPECT_EQ(m_Shown, line + "\n");
  EXPECT_THAT(Written(), EndsWith(" ERROR " + line + "\n"));
  EXPECT_EQ(std::ranges::count(Written(), '\n'), 1);
}

class JournalTest : public LogTest {
protected:
  void SetUp() override {
    LogTest::SetUp();
    struct stat info {};
    ASSERT_EQ(fstat(STDERR_FILENO, &info), 0);
    SetStream(info.st_dev, info.st_ino);
  }
  void TearDown() override {
    unsetenv("JOURNAL_STREAM");
    LogTest::TearDown();
  }
  static void SetStream(dev_t device, ino_t file) {
    setenv("JOURNAL_STREAM", (std::to_string(device) + ":" + std::to_string(file)).c_str(), 1);
  }
};

TEST_F(JournalTest, LinesOnStdErrBeginWithTheirPriority) {
  ASSERT_TRUE(Open(Log::k_Trace, Log::k_Trace));
  rlib::LogError("e");
  rlib::LogWarning("w");
  rlib::LogSystem("s");
  rlib::LogInfo("i");
  rlib::LogDebug("d");
  rlib::LogTrace("t");
  std::istringstream lines(m_Shown);
  for (const std::string expected : {"<3>e", "<4>w", "<5>s", "<6>i", "<7>d", "<7>t"}) {
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line.substr(0, 3) + line.back(), expected);
  }
  EXPECT_THAT(Written(), Not(HasSubstr("<")));
}

TEST_F(JournalTest, SoDoesWhatIsReported) {
  ASSERT_TRUE(Open(Log::k_Trace, Log::k_Nothing));
  rlib::Report(Log::k_Warning, "Look at it");
  EXPECT_EQ(m_Shown, "<4>Look at it\n");
}

TEST_F(JournalTest, NoneWhereStdErrIsAnotherFile) {
  ASSERT_TRUE(Open(0, Log::k_Error));
  struct stat info {};
  ASSERT_EQ(fstat(STDERR_FILENO, &info), 0);
  SetStream(info.st_dev, info.st_ino + 1);
  rlib::LogError("another file");
  setenv("JOURNAL_STREAM", "nonsense", 1);
  rlib::LogError("nonsense");
  unsetenv("JOURNAL_STREAM");
  rlib::LogError("none");
  EXPECT_THAT(m_Shown, Not(HasSubstr("<")));
}

TEST_F(LogTest, ThreadsLoseNoLine) {
  ASSERT_TRUE(Open());
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 100; ++i)
        rlib::LogInfo("line");
    });
  for (std::thread& thread : threads)
    thread.join();
  std::istringstream in(Written());
  int count = 0;
  for (std::string line; std::getline(in, line); ++count)
    EXPECT_THAT(line, EndsWith(" INFO line"));
  EXPECT_EQ(count, 400);
}

TEST_F(LogTest, DumpHoldsRecentLinesOfAllLevels) {
  rlib::LogTrace("before opening");
  ASSERT_TRUE(Open(Log::k_Error));
  rlib::LogTrace("only in memory");
  const std::optional<rlib::Path> first = Log::Dump();
  const std::optional<rlib::Path> second = Log::Dump();
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  EXPECT_NE(*first, *second);
  EXPECT_EQ(first->Parent().str(), m_Folder.Name());
  const std::string dump = ReadTextFile(first->str().str());
  EXPECT_THAT(dump, HasSubstr("TRACE before opening\n"));
  EXPECT_THAT(dump, HasSubstr("TRACE only in memory\n"));
}

TEST_F(LogTest, DumpIsBounded) {
  ASSERT_TRUE(Open(0));
  rlib::LogTrace("the oldest line");
  for (int i = 0; i < 10'000; ++i)
    rlib::LogTrace("line");
  rlib::LogTrace(std::string(1 << 20, 'x'));
  const std::optional<rlib::Path> path = Log::Dump();
  ASSERT_TRUE(path);
  const std::string dump = ReadTextFile(path->str().str());
  EXPECT_EQ(std::ranges::count(dump, '\n'), 10'000);
  EXPECT_THAT(dump, Not(HasSubstr("the oldest line")));
  EXPECT_LT(dump.size(), 2u << 20);
}

TEST_F(LogTest, DumpWithoutAFolderIsLogged) {
  std::string logged;
  Log::SetObserver([&](int, const String& text) { logged = text.str(); });
  EXPECT_FALSE(Log::Dump());
  Log::SetObserver({});
  EXPECT_EQ(logged, "Cannot dump the log: no log folder is in use");
}

} // namespace
