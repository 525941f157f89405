#include "manage/Initialise.h"
#include "store/DataFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "manage/Certificates.h"
#include "store/SqliteStore.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

void Init(const std::string& folder) {
  InitOptions options;
  options.m_Folder = folder;
  options.m_Name = "Farm";
  Initialise(options);
}

std::string WhyNotIn(const std::string& folder) {
  try {
    Init(folder);
  } catch (Exception* error) {
    const std::string problem = error->Message().str();
    delete error;
    return problem;
  }
  return "";
}

bool IsThere(const std::string& file) {
  struct stat info {};
  return lstat(file.c_str(), &info) == 0;
}

TEST(DataFolder, IsNotMadeOfAFolderThatHoldsSomethingElse) {
  const TempFolder folder;
  ASSERT_EQ(chmod(folder.Name().c_str(), 0755), 0);
  WriteTextFile(folder / "letter.txt", "x");
  EXPECT_THAT(WhyNotIn(folder.Name()), HasSubstr("is not empty and holds no Master: there is 'letter.txt'"));
  EXPECT_EQ(folder.Count(), 1u);
  struct stat info {};
  ASSERT_EQ(stat(folder.Name().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0755u);
}

TEST(DataFolder, HoldsHostsWithoutADotAtTheEnd) {
  const TempFolder folder;
  const Path data = folder / "data";
  Initialise({data, "Farm", {"localhost."}, 0});
  const MasterRecord master = SqliteStore(data, Database::Mode::k_ReadOnly).LoadMaster();
  EXPECT_EQ(HostsOf(master.m_Server)[0], "localhost");
  EXPECT_EQ(master.m_Address, "localhost");
  EXPECT_EQ(ReadTextFile((data / "clients/admin/brenic.conf").c_str()).find("localhost."), std::string::npos);
}

TEST(DataFolder, ThatLostItsDatabaseGetsNoOtherAuthority) {
  const TempFolder folder;
  Init(folder.Name());
  const std::string authority = ReadTextFile(folder / "clients/admin/ca.pem");
  ASSERT_EQ(unlink((folder / "master.db").c_str()), 0);
  EXPECT_THAT(WhyNotIn(folder.Name()), HasSubstr("there is 'clients' and no master.db"));
  EXPECT_EQ(ReadTextFile(folder / "clients/admin/ca.pem"), authority);
}

TEST(DataFolder, OfAnotherUserIsNotTaken) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root can give a folder away";
  const TempFolder folder;
  ASSERT_EQ(chown(folder.Name().c_str(), 12345, 12345), 0);
  EXPECT_THAT(WhyNotIn(folder.Name()), HasSubstr("belongs to another user"));
}

TEST(DataFolder, IsMadeAnewWhenAnEarlierAttemptWasCutOff) {
  const TempFolder folder;
  Init(folder.Name());
  const std::string authority = ReadTextFile(folder / "clients/admin/ca.pem");
  // As it is just before the end.
  ASSERT_EQ(rename((folder / "master.db").c_str(), (folder / "master.db.new").c_str()), 0);
  Init(folder.Name());
  EXPECT_FALSE(IsThere(folder / "master.db.new"));
  EXPECT_NE(ReadTextFile(folder / "clients/admin/ca.pem"), authority);
  SqliteStore store(folder.Name(), Database::Mode::k_ReadWrite);
  EXPECT_EQ(store.LoadMaster().m_Authority.m_Certificate, ReadTextFile(folder / "clients/admin/ca.pem"));
}

TEST(DataFolder, IsNotMadeByTwoAtTheSameTime) {
  const TempFolder folder;
  const ServeLock lock(folder.Name());
  EXPECT_THAT(WhyNotIn(folder.Name()), HasSubstr("Another brenic-master"));
  EXPECT_FALSE(IsThere(folder / "master.db"));
}

} // namespace
} // namespace brenic::master
