#include "rlib/OutFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "AsOrdinaryUser.h"
#include "TempFolder.h"
#include "rlib/OutFileActions.h"

using rlib::OutFile;
using rlib::String;

namespace {

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

class OutFileTest : public testing::Test {
protected:
  TempFolder m_Folder;
};

TEST_F(OutFileTest, CreatesAFileWhenClosed) {
  OutFile file(m_Folder / "a", 22, false, false, -1);
  file.Put("one\n");
  file.Put(String("two"));
  file.PutEOL();
  EXPECT_FALSE(std::filesystem::exists(m_Folder / "a"));
  file.Close(false);
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "one\ntwo\n");
  EXPECT_EQ(m_Folder.Count(), 1u);
  file.Close(false);
}

TEST_F(OutFileTest, NewFileFollowsTheUmask) {
  const mode_t before = umask(027);
  WriteWhole(m_Folder / "a", "x");
  { OutFile(m_Folder / "b", 22, false, false, 0600).Close(); }
  umask(before);
  EXPECT_EQ(ModeOf(m_Folder / "a"), 0640u);
  EXPECT_EQ(ModeOf(m_Folder / "b"), 0600u);
}

TEST_F(OutFileTest, ReplacesAFileInOneStepAndKeepsItsMode) {
  WriteTextFile(m_Folder / "a", "earlier and longer");
  chmod((m_Folder / "a").c_str(), 0604);
  {
    OutFile file(m_Folder / "a");
    file.Put(std::string(200'000, 'x'));
    EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier and longer");
    file.Close();
  }
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), std::string(200'000, 'x'));
  EXPECT_EQ(ModeOf(m_Folder / "a"), 0604u);
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileTest, KeepsTheOwner) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root can give files away";
  WriteTextFile(m_Folder / "a", "x");
  ASSERT_EQ(chown((m_Folder / "a").c_str(), 12345, 54321), 0);
  WriteWhole(m_Folder / "a", "y");
  struct stat status {};
  stat((m_Folder / "a").c_str(), &status);
  EXPECT_EQ(status.st_uid, 12345u);
  EXPECT_EQ(status.st_gid, 54321u);
}

TEST_F(OutFileTest, WithoutCloseTheEarlierFileStays) {
  WriteTextFile(m_Folder / "a", "earlier");
  {
    OutFile file(m_Folder / "a");
    file.Put(std::string(200'000, 'x'));
  }
  {
    OutFile file(m_Folder / "a");
    file.Put("x");
    file.Close(true);
  }
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier");
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileTest, ResolvesSymbolicLinks) {
  std::filesystem::create_directory(m_Folder / "dir");
  WriteTextFile(m_Folder / "dir/real", "earlier");
  ASSERT_EQ(symlink("dir/real", (m_Folder / "link").c_str()), 0);
  ASSERT_EQ(symlink("dir/new", (m_Folder / "dangling").c_str()), 0);
  ASSERT_EQ(symlink("loop", (m_Folder / "loop").c_str()), 0);
  WriteWhole(m_Folder / "link", "x");
  WriteWhole(m_Folder / "dangling", "y");
  EXPECT_TRUE(std::filesystem::is_symlink(m_Folder / "link"));
  EXPECT_EQ(ReadTextFile(m_Folder / "dir/real"), "x");
  EXPECT_EQ(ReadTextFile(m_Folder / "dir/new"), "y");
  EXPECT_EQ(ThrownBy([&] { WriteWhole(m_Folder / "loop", "z"); }),
            "Cannot write '" + (m_Folder / "loop") + "': Too many levels of symbolic links");
}

TEST_F(OutFileTest, WritesThroughToAPipe) {
  const std::string fifo = m_Folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(ThrownBy([&] { WriteWhole(fifo, "x"); }),
            "Cannot write '" + fifo + "': No such device or address");
  const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  WriteWhole(fifo, "text");
  char buffer[16];
  EXPECT_EQ(read(reader, buffer, sizeof(buffer)), 4);
  close(reader);
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileTest, FullDeviceIsAFailure) {
  EXPECT_EQ(ThrownBy([] { WriteWhole("/dev/full", "x"); }),
            "Cannot write '/dev/full': No space left on device");
  EXPECT_EQ(ThrownBy([] { WriteWhole("/dev/null", "x"); }), "");
}

TEST_F(OutFileTest, SaysWhyAFileCannotBeWritten) {
  WriteTextFile(m_Folder / "a", "earlier");
  const auto reason = [&](const char* name, int mode = 22, bool exclusive = false) {
    const std::string path = m_Folder / name;
    const std::string text = ThrownBy([&] { OutFile(path, mode, exclusive).Close(); });
    const std::string start = "Cannot write '" + path + "': ";
    return text.starts_with(start) ? text.substr(start.size()) : "? " + text;
  };
  EXPECT_EQ(reason("none/a"), "No such file or directory");
  EXPECT_EQ(reason("a/b"), "Not a directory");
  EXPECT_EQ(reason(""), "Is a directory");
  EXPECT_EQ(reason("b", OutFile::k_Write | OutFile::k_Truncate), "No such file or directory");
  EXPECT_EQ(reason("b", OutFile::k_Write | OutFile::k_Create), "Invalid argument");
  EXPECT_EQ(reason("a", 22, true), "File exists");
  EXPECT_EQ(ThrownBy([] { OutFile(""); }), "Cannot write '': No such file or directory");
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier");
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileTest, ReadOnlyFileIsNotReplaced) {
  WriteTextFile(m_Folder / "a", "earlier");
  chmod((m_Folder / "a").c_str(), 0444);
  AsOrdinaryUser(m_Folder, [&] {
    EXPECT_EQ(ThrownBy([&] { WriteWhole(m_Folder / "a", "x"); }),
              "Cannot write '" + (m_Folder / "a") + "': Permission denied");
  });
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier");
}

TEST_F(OutFileTest, TwoExportsOfOneFileDoNotDisturbEachOther) {
  std::vector<std::thread> threads;
  for (const char c : {'a', 'b', 'c', 'd'})
    threads.emplace_back([this, c] {
      for (int i = 0; i < 50; ++i)
        EXPECT_EQ(ThrownBy([&] { WriteWhole(m_Folder / "a", std::string(1000, c)); }), "");
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(ReadTextFile(m_Folder / "a").size(), 1000u);
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileTest, ALongNameLeavesRoomForTheTemporaryOne) {
  const std::string name(255, 'n');
  EXPECT_EQ(ThrownBy([&] { WriteWhole(m_Folder / name, "x"); }), "");
  EXPECT_EQ(ReadTextFile(m_Folder / name), "x");
}

TEST_F(OutFileTest, ExclusiveFileDoesNotReplaceOneThatAppearedMeanwhile) {
  OutFile file(m_Folder / "a", 22, true);
  WriteTextFile(m_Folder / "a", "other");
  EXPECT_EQ(ThrownBy([&] { file.Close(); }), "Cannot write '" + (m_Folder / "a") + "': File exists");
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "other");
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileTest, MakesFoldersOnRequest) {
  OutFile file(m_Folder / "x/y/a", 22, true, true);
  file.Put("x");
  file.Close();
  EXPECT_EQ(ReadTextFile(m_Folder / "x/y/a"), "x");
}

TEST_F(OutFileTest, PutAfterCloseIsAFailure) {
  OutFile file(m_Folder / "a");
  file.Close();
  EXPECT_EQ(ThrownBy([&] { file.Put("x"); }), "Cannot write '" + (m_Folder / "a") + "': Bad file descriptor");
}

} // namespace
