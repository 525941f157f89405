// OutFile where the system does not let it do what it would.
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "AsOrdinaryUser.h"
#include "TempFolder.h"
#include "rlib/OutFileActions.h"

using rlib::OutFile;

namespace {

// What the system's calls below do instead of their work.
int s_RenameError = 0;
bool s_KillAtRename = false;
int s_FallocateError = 0;
int s_FolderSyncError = 0;

int Failed(int error) {
  errno = error;
  return -1;
}

} // namespace

// In place of the C library's.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (s_KillAtRename)
    kill(getpid(), SIGKILL);
  return s_RenameError ? Failed(s_RenameError) : renameat(AT_FDCWD, from, AT_FDCWD, to);
}

extern "C" int posix_fallocate(int fd, off_t offset, off_t size) {
  return s_FallocateError ? s_FallocateError : fallocate(fd, 0, offset, size) == 0 ? 0 : errno;
}

extern "C" int fsync(int fd) {
  struct stat status {};
  if (s_FolderSyncError && fstat(fd, &status) == 0 && S_ISDIR(status.st_mode))
    return Failed(s_FolderSyncError);
  return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace {

class OutFileFailureTest : public testing::Test {
protected:
  TempFolder m_Folder;
};

TEST_F(OutFileFailureTest, AFileInAFolderThatMayNotBeWrittenIsWrittenInPlace) {
  WriteTextFile(m_Folder / "a", "earlier and longer");
  chmod((m_Folder / "a").c_str(), 0666);
  struct stat before {};
  ASSERT_EQ(stat((m_Folder / "a").c_str(), &before), 0);
  AsOrdinaryUser(m_Folder, [&] {
    chmod(m_Folder.Name().c_str(), 0555);
    {
      OutFile file(m_Folder / "a");
      file.Put(std::string(200'000, 'x'));
      EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier and longer"); // until the text is whole
      file.Close();
    }
    EXPECT_EQ(ReadTextFile(m_Folder / "a"), std::string(200'000, 'x'));
    WriteWhole(m_Folder / "a", "short");
    EXPECT_EQ(ReadTextFile(m_Folder / "a"), "short");
    EXPECT_EQ(ThrownBy([&] { WriteWhole(m_Folder / "new", "x"); }),
              "Cannot write '" + (m_Folder / "new") + "': Permission denied");
    chmod(m_Folder.Name().c_str(), 0755);
  });
  struct stat after {};
  ASSERT_EQ(stat((m_Folder / "a").c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileFailureTest, AColleaguesFileInASharedFolderIsWrittenInPlaceAndStaysTheirs) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root can give files away";
  WriteTextFile(m_Folder / "a", "earlier");
  chmod((m_Folder / "a").c_str(), 0666);
  const TempFolder own; // takes the change of owner that the shared folder must not have
  chmod(m_Folder.Name().c_str(), 01777);
  AsOrdinaryUser(own, [&] { WriteWhole(m_Folder / "a", "new"); });
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "new");
  struct stat status {};
  ASSERT_EQ(stat((m_Folder / "a").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 0u);
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileFailureTest, AMountedFileIsWrittenInPlace) {
  WriteTextFile(m_Folder / "a", "earlier");
  s_RenameError = EBUSY; // as the system says of a file that is mounted
  EXPECT_EQ(ThrownBy([&] { WriteWhole(m_Folder / "a", "new"); }), "");
  s_RenameError = 0;
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "new");
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileFailureTest, WhereAFileMayNotGrowThatFarTheEarlierStays) {
  WriteTextFile(m_Folder / "a", "earlier");
  signal(SIGXFSZ, SIG_IGN); // as every program does that writes with it
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small{100'000, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const std::string why = ThrownBy([&] { WriteWhole(m_Folder / "a", std::string(200'000, 'x')); });
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(why, "Cannot write '" + (m_Folder / "a") + "': File too large");
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier");
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(OutFileFailureTest, WhereThereIsNoRoomToWriteInPlaceTheEarlierStays) {
  WriteTextFile(m_Folder / "a", "earlier");
  s_RenameError = EBUSY;
  s_FallocateError = ENOSPC;
  const std::string why = ThrownBy([&] { WriteWhole(m_Folder / "a", "new and longer"); });
  s_RenameError = s_FallocateError = 0;
  EXPECT_EQ(why, "Cannot write '" + (m_Folder / "a") + "': No space left on device");
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "earlier");
}

TEST_F(OutFileFailureTest, AFileThatIsReplacedAndMayNotLastIsNotSaidToBeUnwritten) {
  WriteTextFile(m_Folder / "a", "earlier");
  s_FolderSyncError = EIO;
  const std::string why = ThrownBy([&] { WriteWhole(m_Folder / "a", "new"); });
  s_FolderSyncError = 0;
  EXPECT_EQ(
      why,
      "'" + (m_Folder / "a") +
          "' was written, but a power cut may undo that: its folder cannot be synced: Input/output error");
  EXPECT_EQ(ReadTextFile(m_Folder / "a"), "new");
}

TEST_F(OutFileFailureTest, WhatAKilledExportLeftBehindIsRemovedByTheNextOfThatFile) {
  for (const char* name : {"a", "b"}) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      s_KillAtRename = true;
      WriteWhole(m_Folder / name, "x");
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
  }
  ASSERT_EQ(m_Folder.Count(), 2u);
  WriteWhole(m_Folder / "a", "x");
  EXPECT_EQ(m_Folder.Count(), 2u); // the file, and what is left behind of the other
  WriteWhole(m_Folder / "b", "x");
  EXPECT_EQ(m_Folder.Count(), 2u);
}

} // namespace
