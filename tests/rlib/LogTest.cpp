#include "rlib/Log.h"

#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "TempFolder.h"
#include "rlib/Failures.h"
#include "rlib/Stream.h"

using rlib::Log;
using rlib::String;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

namespace {

constexpr off_t k_RotationSize = 10 << 20;

std::string WhyNot(const rlib::Result<>& result) {
  return result ? "it is done" : result.Reason().str();
}

class LogTest : public testing::Test {
protected:
  /// What other tests of this process have said until now goes to the first file, which is this one.
  static void SetUpTestSuite() {
    const TempFolder folder;
    ASSERT_TRUE(Log::Open("test", folder.Name(), Log::k_Trace, Log::k_Nothing));
    Log::Close();
  }
  void SetUp() override {
    rlib::ResetNotedFailures();
    rlib::stdErr.Capture(&m_Shown);
  }
  void TearDown() override {
    Log::Close();
    rlib::stdErr.Capture(nullptr);
    EXPECT_FALSE(rlib::AnyFailureNoted());
  }
  rlib::Result<> Open(int fileLevel = Log::k_Trace, int displayLevel = 0) {
    return Log::Open("test", m_Folder.Name(), fileLevel, displayLevel);
  }
  std::string Written(const char* name = "test.log") const { return ReadTextFile(m_Folder / name); }

  TempFolder m_Folder;
  std::string m_Shown;
};

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

TEST_F(LogTest, FolderIsMadeWithItsParents) {
  const std::string folder = m_Folder / "a/b/log";
  ASSERT_TRUE(Log::Open("test", folder, 5, 0));
  struct stat status {};
  ASSERT_EQ(stat(folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  ASSERT_EQ(stat((folder + "/test.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777 & ~0640, 0u);
}

TEST_F(LogTest, FolderThatCannotBeUsedIsOneErrorText) {
  WriteTextFile(m_Folder / "file", "");
  EXPECT_EQ(WhyNot(Log::Open("test", m_Folder / "file", 5, 0)),
            "Cannot make the log folder '" + (m_Folder / "file") + "': Not a directory");
  EXPECT_EQ(WhyNot(Log::Open("test", m_Folder / "file/x", 5, 0)),
            "Cannot make the log folder '" + (m_Folder / "file/x") + "': Not a directory");
  EXPECT_EQ(WhyNot(Log::Open("test", "", 5, 0)), "Cannot write a log: no log folder is known");
  rlib::LogError("goes on");
}

TEST_F(LogTest, PlantedSymbolicLinkIsNotFollowed) {
  WriteTextFile(m_Folder / "victim", "");
  ASSERT_EQ(symlink("victim", (m_Folder / "test.log").c_str()), 0);
  EXPECT_EQ(WhyNot(Open()),
            "Cannot write the log file '" + (m_Folder / "test.log") + "': it is a symbolic link");
  rlib::LogError("x");
  EXPECT_EQ(Written("victim"), "");
}

TEST_F(LogTest, PlantedHardLinkAndFifoAreRefused) {
  WriteTextFile(m_Folder / "victim", "");
  ASSERT_EQ(link((m_Folder / "victim").c_str(), (m_Folder / "test.log").c_str()), 0);
  EXPECT_THAT(WhyNot(Open()), EndsWith("it is not an ordinary file"));
  ASSERT_EQ(unlink((m_Folder / "test.log").c_str()), 0);
  ASSERT_EQ(mkfifo((m_Folder / "test.log").c_str(), 0600), 0);
  EXPECT_THAT(WhyNot(Open()), EndsWith("No such device or address"));
}

TEST_F(LogTest, ApplicationNameCannotLeaveTheFolder) {
  ASSERT_TRUE(Log::Open("../a/b", m_Folder.Name(), 5, 0));
  EXPECT_TRUE(std::filesystem::exists(m_Folder / "brenic.._a_b.log"));
}

TEST_F(LogTest, FullFileIsMovedAsideWhenOpened) {
  for (int run = 1; run <= 7; ++run) {
    WriteTextFile(m_Folder / "test.log", "run " + std::to_string(run));
    ASSERT_EQ(truncate((m_Folder / "test.log").c_str(), k_RotationSize), 0);
    ASSERT_TRUE(Open());
    EXPECT_EQ(std::filesystem::file_size(m_Folder / "test.log"), 0u);
    Log::Close();
  }
  EXPECT_EQ(m_Folder.Count(), 6u);
  EXPECT_THAT(Written("test.log.1"), testing::StartsWith("run 7"));
  EXPECT_THAT(Written("test.log.5"), testing::StartsWith("run 3"));
}

TEST_F(LogTest, FileIsMovedAsideWhileInUse) {
  WriteTextFile(m_Folder / "test.log", "");
  ASSERT_EQ(truncate((m_Folder / "test.log").c_str(), k_RotationSize - 10), 0);
  ASSERT_TRUE(Open());
  rlib::LogError("last of the old");
  rlib::LogError("first of the new");
  EXPECT_THAT(Written(), EndsWith("first of the new\n"));
  EXPECT_THAT(Written("test.log.1"), EndsWith("last of the old\n"));
}

TEST_F(LogTest, FileThatCannotBeOpenedAnewIsWrittenOn) {
  WriteTextFile(m_Folder / "test.log", "");
  ASSERT_EQ(truncate((m_Folder / "test.log").c_str(), k_RotationSize - 10), 0);
  ASSERT_TRUE(Open());
  std::filesystem::rename(m_Folder / "test.log", m_Folder / "moved.log");
  std::filesystem::create_symlink(m_Folder / "elsewhere", m_Folder / "test.log");
  rlib::LogError("reaches the limit");
  rlib::LogError("the next one");
  EXPECT_THAT(Written("moved.log"), EndsWith("the next one\n"));
  EXPECT_EQ(m_Shown, "Cannot open the log file '" + m_Folder / "test.log" +
                         "' anew, so the earlier one is written on: it is a symbolic link\n");
}

TEST_F(LogTest, ReopenedFileIsTheOneOfThatNameWithTheNewLevels) {
  ASSERT_TRUE(Open(Log::k_Error));
  rlib::LogError("before");
  std::filesystem::rename(m_Folder / "test.log", m_Folder / "moved.log");
  rlib::LogError("still there");
  ASSERT_TRUE(Log::Reopen(Log::k_Warning, Log::k_Error));
  rlib::LogWarning("after");
  rlib::LogError("shown");
  EXPECT_THAT(Written("moved.log"), EndsWith("still there\n"));
  EXPECT_THAT(Written(), HasSubstr("WARNING after\n"));
  EXPECT_THAT(Written(), Not(HasSubstr("still there")));
  EXPECT_THAT(m_Shown, EndsWith("ERROR shown\n"));
  ASSERT_TRUE(Log::Reopen(Log::k_Nothing, Log::k_Nothing));
  rlib::LogError("no more");
  EXPECT_THAT(Written(), EndsWith("shown\n"));
}

TEST_F(LogTest, FailedReopeningLeavesFileAndLevels) {
  ASSERT_TRUE(Open(Log::k_Error));
  std::filesystem::rename(m_Folder / "test.log", m_Folder / "moved.log");
  std::filesystem::create_symlink(m_Folder / "elsewhere", m_Folder / "test.log");
  EXPECT_EQ(WhyNot(Log::Reopen(Log::k_Trace, Log::k_Trace)),
            "Cannot write the log file '" + m_Folder / "test.log" + "': it is a symbolic link");
  rlib::LogError("an error");
  rlib::LogWarning("a warning");
  EXPECT_THAT(Written("moved.log"), EndsWith("an error\n"));
  EXPECT_EQ(m_Shown, "");
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

TEST_F(LogTest, ConcurrentProcessesLoseNoLineWhileRotating) {
  // Near the limit, so that the processes move the file aside under each other.
  WriteTextFile(m_Folder / "test.log", "");
  ASSERT_EQ(truncate((m_Folder / "test.log").c_str(), k_RotationSize - 20'000), 0);
  constexpr int processes = 4;
  constexpr int lines = 500;
  std::vector<pid_t> children;
  for (int p = 0; p < processes; ++p) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      bool good = true;
      for (int i = 0; i < lines; ++i) {
        if (i % 10 == 0)
          good = good && Log::Open("test", m_Folder.Name(), 6, 0);
        rlib::LogError("process " + std::to_string(p) + " line " + std::to_string(i) + ".");
      }
      _exit(good ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  std::map<std::string, int> seen;
  for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Name())) {
    std::string text = ReadTextFile(entry.path());
    text.erase(0, text.find_first_not_of('\0')); // The hole that stands for earlier lines.
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
      ++seen[line.substr(std::min(line.size(), line.find("process ")))];
  }
  for (int p = 0; p < processes; ++p)
    for (int i = 0; i < lines; ++i)
      EXPECT_EQ(seen["process " + std::to_string(p) + " line " + std::to_string(i) + "."], 1);
  EXPECT_TRUE(std::filesystem::exists(m_Folder / "test.log.1"));
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

TEST_F(LogTest, FullDiskIsOneLineOnStdErrAndNoFailureOfTheProcess) {
  // A file size limit stands for the full disk.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    std::string shown;
    rlib::stdErr.Capture(&shown);
    if (!Open())
      _exit(1);
    const rlimit limit{100, 100};
    setrlimit(RLIMIT_FSIZE, &limit);
    for (int i = 0; i < 10; ++i)
      rlib::LogError("some text that soon exceeds the limit");
    const std::string expected =
        "Cannot write to the log file '" + (m_Folder / "test.log") + "': File too large\n";
    _exit(shown == expected && !rlib::AnyFailureNoted() ? 0 : 2);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
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

TEST_F(LogTest, DefaultFolderFollowsTheEnvironment) {
  setenv("XDG_STATE_HOME", "/state", 1);
  EXPECT_EQ(Log::DefaultFolder(), rlib::Path("/state/brenic/log"));
  unsetenv("XDG_STATE_HOME");
  if (geteuid() == 0) {
    EXPECT_EQ(Log::DefaultFolder(), rlib::Path("/var/log/brenic"));
    return;
  }
  setenv("HOME", "/home/x", 1);
  EXPECT_EQ(Log::DefaultFolder(), rlib::Path("/home/x/.local/state/brenic/log"));
  unsetenv("HOME");
  EXPECT_TRUE(Log::DefaultFolder().empty());
}

} // namespace
