// Backups of a data folder: what is in the file.
#include "manage/BackedUpFolder.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;
using testing::Not;

class BackupTest : public BackedUpFolder {};

TEST_F(BackupTest, IsOneFileClosedToOthersThatBecomesTheSameMaster) {
  Set("MaxJobs", "5");
  const size_t before = m_Folder.Count();
  umask(0);
  const CopiedState state = Backup({Data(), File()});
  umask(022);
  EXPECT_TRUE(state.m_Keys.IsAll());
  EXPECT_EQ(ModeOf(File()), 0600u);
  EXPECT_EQ(m_Folder.Count(), before + 1);

  const Restored restored = Restore({Other(), File(), {}, {}, true, {}});
  EXPECT_EQ(restored.m_Name, "Farm");
  EXPECT_TRUE(restored.m_IsAccepted);
  const MasterRecord was = Master(Data()), is = Master(Other());
  EXPECT_EQ(is.m_ID, was.m_ID);
  EXPECT_EQ(is.m_Authority.m_Key, was.m_Authority.m_Key);
  EXPECT_EQ(is.m_Server.m_Certificate, was.m_Server.m_Certificate);
  EXPECT_EQ(SqliteStore(Other(), Database::Mode::k_ReadOnly).LoadFarm().Option("MaxJobs"), "5");
  EXPECT_EQ(ModeOf(Other()), 0700u);
  EXPECT_EQ(ModeOf(SqliteStore::File(Other())), 0600u);
  EXPECT_EQ(WhyNotServed(Other()), "");
}

TEST_F(BackupTest, ReplacesNothing) {
  WriteTextFile(File().c_str(), "letter");
  EXPECT_THAT(WhyNoBackup(File()), HasSubstr("is there already"));
  EXPECT_EQ(ReadTextFile(File().c_str()), "letter");
  ASSERT_EQ(symlink((m_Folder / "nowhere").c_str(), File("link").c_str()), 0);
  EXPECT_THAT(WhyNoBackup(File("link")), HasSubstr("is there already"));
  EXPECT_THAT(WhyNoBackup(Data() / "backup"), HasSubstr("would be lost with it"));
  EXPECT_THAT(WhyNoBackup(Path(m_Folder.Name() + "/")), HasSubstr("no name of a file"));
  EXPECT_THAT(WhyNoBackup(m_Folder / "no folder/file"), HasSubstr("No such file"));
  EXPECT_EQ(m_Folder.Count(), 3u);
}

TEST_F(BackupTest, LeavesNothingWhenItFails) {
  Set("MaxJobs", std::string(60'000, 'x'));
  std::string database = ReadTextFile(SqliteStore::File(Data()).c_str());
  database.replace(database.size() - 40'000, 20'000, std::string(20'000, '\xee'));
  WriteTextFile(SqliteStore::File(Data()).c_str(), database);
  EXPECT_THAT(WhyNoBackup(File()), HasSubstr("There is no backup '" + File().str().str() + "'"));
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(BackupTest, WhatOneThatWasKilledLeftIsRemovedByTheNext) {
  WriteTextFile(m_Folder / ".backup.unfinished", "half");
  Backup({Data(), File()});
  EXPECT_EQ(m_Folder.Count(), 2u);
}

TEST_F(BackupTest, OfWhichTwoAreMadeAtATimeIsRefused) {
  const FileHandle other = MakePrivateFile(m_Folder / ".backup.unfinished");
  ASSERT_EQ(flock(other.Get(), LOCK_EX), 0);
  EXPECT_THAT(WhyNoBackup(File()), HasSubstr("Another backup"));
  EXPECT_EQ(m_Folder.Count(), 2u);
}

TEST_F(BackupTest, HoldsUpNobodyAndLeavesALongLogAlone) {
  SqliteStore store(Data(), Database::Mode::k_ReadWrite);
  store.Begin(); // others write meanwhile
  store.Apply(ChangeOf(store.LoadFarm(), *OptionMessage("a", std::string(60'000, 'x'))));
  Backup({Data(), File()});
  store.Commit();
  EXPECT_EQ(SqliteStore(Data(), Database::Mode::k_ReadOnly).LoadFarm().m_Options.size(), 1u);

  { const FileHandle target = MakePrivateFile(File("second")); }
  CopyOptions options;
  options.m_MostLog = 1024;
  store.Connection().Execute( // long enough to be asked
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 30000) "
      "INSERT INTO restriction SELECT 'on ' || i FROM n");
  EXPECT_THAT(WhyNot([&] { CopyDatabase(SqliteStore::File(Data()), File("second"), options); }),
              HasSubstr("made the Master's log too long"));
}

TEST_F(BackupTest, WithoutKeysHoldsNoByteOfThemNorOfEarlierOnes) {
  const MasterRecord first = Master(Data());
  {
    SqliteStore store(Data(), Database::Mode::k_ReadWrite);
    store.ReplaceServerCredential({first.m_Server.m_Certificate, "new key " + std::string(3000, 'k')}, 1);
    store.Finish();
  }
  Backup({Data(), File()});
  EXPECT_THAT(ReadTextFile(File().c_str()), HasSubstr(PartOf(first.m_Authority.m_Key)));
  const CopiedState state = Backup({Data(), File("public"), false});
  EXPECT_TRUE(state.m_Keys.IsNone());
  const std::string bytes = ReadTextFile(File("public").c_str());
  EXPECT_THAT(bytes, HasSubstr(PartOf(first.m_Authority.m_Certificate)));
  for (const std::string& key : {PartOf(first.m_Authority.m_Key), PartOf(first.m_Server.m_Key),
                                 std::string(40, 'k'), std::string("PRIVATE KEY")})
    EXPECT_THAT(bytes, Not(HasSubstr(key)));
}

} // namespace
} // namespace brenic::master
