// The file of a log: where it is, when it is moved aside, and what may not stand in its place.
#include <csignal>
#include <map>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "LogFixture.h"

using rlib::Log;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr off_t k_RotationSize = 10 << 20;

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
