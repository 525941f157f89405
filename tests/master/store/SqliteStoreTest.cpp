#include "store/SqliteStore.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "farm/Samples.h"
#include "store/Defaults.h"
#include "store/StoreFixture.h"

namespace brenic::master {
namespace {

class StoreTest : public StoreFixture {
protected:
  StoreTest() : StoreFixture({Type(7), "Farm", "farm.example", {"ca", "ca key"}, {"server", "server key"}}) {}

  /// Returns what it did.
  Change Apply(const shared_ptr<Message>& message) {
    const Change change = ChangeOf(m_Store->LoadFarm(), *message);
    m_Store->Begin();
    m_Store->Apply(change);
    m_Store->Commit();
    return change;
  }
  static AuditRecord Record(const std::string& result, const UID& id = Type(1)) {
    AuditRecord record;
    record.m_Time = 1000;
    record.m_ClientKey = "01";
    record.m_ClientName = "admin";
    record.m_Role = Role::k_Administrator;
    record.m_MessageId = id;
    record.m_Class = "SetMasterOptionsMsg";
    record.m_Digest = std::string("\0\xff digest", 9);
    record.m_Request = std::make_shared<const std::string>("\0bytes", 6);
    record.m_Size = 6;
    record.m_Result = result;
    record.m_Reason = "reason";
    record.m_Run = "run";
    return record;
  }
};

TEST_F(StoreTest, HoldsTheMasterAndItsClients) {
  const MasterRecord master = m_Store->LoadMaster();
  EXPECT_EQ(master.m_ID, Type(7));
  EXPECT_EQ(master.m_Server.m_Key, "server key");
  m_Store->AddClient({"02", "node", Role::k_Component});
  Open();
  EXPECT_EQ(m_Store->FindClient("01")->m_Role, Role::k_Administrator);
  EXPECT_EQ(m_Store->FindClient("02")->m_Name, "node");
  EXPECT_FALSE(m_Store->FindClient("03"));
}

TEST_F(StoreTest, KnowsWhatBecameOfACertificate) {
  ClientRecord node{"02", "node", Role::k_Component, 1, 10, 20, {}, {}};
  m_Store->AddClient(node);
  m_Store->AddClient({"03", "node", Role::k_Component, 1, 11, 30, {}, {}});
  m_Store->SetLastSeen("02", {15, "10.0.0.1:5", "renderer", 7});
  node.m_Revoked = 16;
  m_Store->ReplaceClient(node);
  Open();
  const auto all = m_Store->ClientsNamed("node");
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].m_Revoked, 16);
  EXPECT_EQ(all[0].m_Expires, 20);
  ASSERT_TRUE(all[0].m_LastSeen);
  EXPECT_EQ(all[0].m_LastSeen->m_Address, "10.0.0.1:5");
  EXPECT_EQ(all[0].m_LastSeen->m_Version, 7u);
  EXPECT_EQ(all[1].m_Serial, "03");
  EXPECT_FALSE(all[1].m_Revoked || all[1].m_LastSeen);
  EXPECT_EQ(m_Store->Clients().size(), 3u);
}

TEST_F(StoreTest, HoldsSeveralAuthoritiesOfWhichTheLastSigns) {
  EXPECT_EQ(m_Store->AddAuthority({"ca 2", "ca 2 key"}), 2);
  m_Store->SetAuthorityKey(1, "");
  Open();
  EXPECT_EQ(m_Store->LoadMaster().m_Authority.m_Certificate, "ca 2");
  EXPECT_EQ(m_Store->LoadMaster().m_Authorities.front().m_Credential.m_Key, "");
  EXPECT_EQ(m_Store->LoadMaster().TrustedCertificates(), "caca 2");
  m_Store->RemoveAuthority(2);
  EXPECT_EQ(m_Store->AddAuthority({"ca 3", ""}), 3) << "a number is not given twice";
}

TEST_F(StoreTest, HoldsWhatIsKnownOfTheTime) {
  EXPECT_FALSE(m_Store->LoadClock());
  EXPECT_FALSE(m_Store->TimeOfLastRecord());
  m_Store->SetClock({6, ClockRecord::Doubt{7, 8}});
  Open();
  EXPECT_EQ(m_Store->LoadClock()->m_Trusted, 6);
  ASSERT_TRUE(m_Store->LoadClock()->m_Doubt);
  EXPECT_EQ(m_Store->LoadClock()->m_Doubt->m_Wall, 7);
  EXPECT_EQ(m_Store->LoadClock()->m_Doubt->m_Until, 8);
  m_Store->SetClock({5});
  EXPECT_EQ(m_Store->LoadClock()->m_Trusted, 5);
  EXPECT_FALSE(m_Store->LoadClock()->m_Doubt);
}

TEST_F(StoreTest, IsClosedToOthers) {
  struct stat info {};
  ASSERT_EQ(stat(SqliteStore::File(m_Folder.Name()).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(StoreTest, IsNotMadeTwice) {
  EXPECT_THROW(SqliteStore::Create(SqliteStore::File(m_Folder.Name()), MasterRecord(), {}), StoreFailure);
  EXPECT_EQ(m_Store->LoadMaster().m_ID, Type(7));
}

TEST_F(StoreTest, IsNotMadeBehindASymbolicLink) {
  const TempFolder other;
  ASSERT_EQ(symlink((other / "elsewhere").c_str(), (other / "link").c_str()), 0);
  EXPECT_THROW(SqliteStore::Create(other / "link", MasterRecord(), {}), StoreFailure);
  EXPECT_EQ(other.Count(), 1u);
}

TEST_F(StoreTest, ReplacesTheMastersOwnCertificate) {
  m_Store->ReplaceServerCredential({"new", "new key"}, 2);
  Open();
  EXPECT_EQ(m_Store->LoadMaster().m_Server.m_Certificate, "new");
  EXPECT_EQ(m_Store->LoadMaster().m_Server.m_Key, "new key");
  EXPECT_EQ(m_Store->LoadMaster().m_ServerAuthority, 2);
  EXPECT_EQ(m_Store->LoadMaster().m_Authority.m_Key, "ca key");
}

TEST_F(StoreTest, OfAnotherVersionIsNotOpened) {
  m_Store->Connection().Execute("PRAGMA user_version = 99");
  EXPECT_THROW(Open(), StoreFailure);
}

TEST_F(StoreTest, GivesBackEverySettingAfterItIsReopened) {
  SetDefaults(*m_Store, {{Type(1), MakeProduct(1, "Alpha", {"a"})}, {Type(2), MakeProduct(2, "Beta")}});
  Farm expected = m_Store->LoadFarm();
  const auto apply = [&](const shared_ptr<Message>& message) { expected.Take(Apply(message)); };
  apply(OptionMessage("MaxJobs", "5"));
  apply(OptionMessage("empty", ""));
  apply(OptionMessage("Samples", "9", Type(1).ToString()));
  apply(Make<SetMasterLimitsMsg>([](auto& message) { message.m_Limits[Type(1)] = -1; }));
  apply(Make<SetMasterRestrictionsMsg>([](auto& message) {
    message.m_Restrictions = {{"a", true}, {"b", false}};
  }));
  apply(SetTranslations({{{1, "/x"}}, {{0, "X:"}}}));
  apply(InstallProduct(MakeProduct(3, "Gamma")));
  apply(RemoveProduct(Type(2)));
  Open();
  const Farm farm = m_Store->LoadFarm();
  EXPECT_EQ(farm.m_Options, expected.m_Options);
  EXPECT_EQ(farm.m_TypeOptions, expected.m_TypeOptions);
  EXPECT_EQ(farm.m_Limits, expected.m_Limits);
  EXPECT_EQ(farm.m_Restrictions, expected.m_Restrictions);
  EXPECT_EQ(farm.m_Translations, expected.m_Translations);
  EXPECT_TRUE(farm.m_Products.Find(Type(1)));
  EXPECT_FALSE(farm.m_Products.Find(Type(2)));
  EXPECT_TRUE(farm.m_Products.IsCustom(Type(3)));
}

TEST_F(StoreTest, KeepsTheFirstSpellingOfAnOption) {
  Apply(OptionMessage("MaxJobs", "1"));
  Apply(OptionMessage("MAXJOBS", "2"));
  EXPECT_THAT(m_Store->LoadFarm().m_Options,
              testing::ElementsAre(testing::Pair(String("MaxJobs"), String("2"))));
}

TEST_F(StoreTest, GoesBackToTheDefaultsAfterTheNullType) {
  SetDefaults(*m_Store, {{Type(1), MakeProduct(1, "Alpha")}});
  Apply(InstallProduct(MakeProduct(3, "Gamma")));
  Apply(RemoveProduct(Type(1)));
  Apply(RemoveProduct(UID::Null));
  const Farm farm = m_Store->LoadFarm();
  EXPECT_TRUE(farm.m_Products.Find(Type(1)));
  EXPECT_FALSE(farm.m_Products.Find(Type(3)));
}

TEST_F(StoreTest, RemembersDecisionsButNotReads) {
  m_Store->Begin();
  m_Store->Record(Record("committed", Type(1)));
  m_Store->Record(Record("refused", Type(2)));
  m_Store->Record(Record("answered", Type(3)));
  m_Store->Record(Record("answered", Type(3)));
  m_Store->Commit();
  Open();
  const auto committed = m_Store->FindDecision("01", Type(1));
  ASSERT_TRUE(committed);
  EXPECT_EQ(committed->m_Digest, Record("").m_Digest);
  EXPECT_EQ(committed->m_Run, "run");
  EXPECT_EQ(m_Store->FindDecision("01", Type(2))->m_Reason, "reason");
  EXPECT_FALSE(m_Store->FindDecision("01", Type(3)));
  EXPECT_FALSE(m_Store->FindDecision("02", Type(1))) << "identifiers belong to their client";
}

TEST_F(StoreTest, TakesAnIdentifierOnce) {
  m_Store->Record(Record("committed"));
  EXPECT_THROW(m_Store->Record(Record("refused")), StoreFailure);
}

TEST_F(StoreTest, LosesARolledBackTransaction) {
  const Change change = ChangeOf(Farm(), *OptionMessage("a", "1"));
  m_Store->Begin();
  m_Store->Apply(change);
  m_Store->Record(Record("committed"));
  m_Store->Rollback();
  EXPECT_TRUE(m_Store->LoadFarm().m_Options.empty());
  EXPECT_FALSE(m_Store->FindDecision("01", Type(1)));
}

TEST_F(StoreTest, ReadsTheAuditTrailFromATimeOn) {
  for (int64_t time : {1000, 2000, 3000}) {
    AuditRecord record = Record("answered");
    record.m_Time = time;
    m_Store->Record(record);
  }
  std::vector<int64_t> sequences;
  m_Store->ReadAudit(2000, [&](const AuditRecord& record) { sequences.push_back(record.m_Sequence); });
  EXPECT_THAT(sequences, testing::ElementsAre(2, 3));
}

TEST_F(StoreTest, SaysThatItIsFull) {
  m_Store->Connection().Execute("PRAGMA max_page_count = 1"); // SQLite takes the present size instead
  Change change;
  change.m_Options.push_back({UID::Null, "a", {std::nullopt, String(std::string(1 << 20, 'x'))}});
  m_Store->Begin();
  try {
    m_Store->Apply(change);
    m_Store->Commit();
    FAIL();
  } catch (const StoreFailure& failure) {
    EXPECT_EQ(failure.Which(), StoreFailure::Kind::k_Full) << failure.what();
  }
}

TEST_F(StoreTest, LooksForANameWithoutReadingLongValues) {
  constexpr size_t k_Options = 200;
  const auto pagesLookedAt = [&](const char* name) {
    int pages = 0, highest = 0;
    sqlite3_db_status(m_Store->Connection().Handle(), SQLITE_DBSTATUS_CACHE_HIT, &pages, &highest, 1);
    m_Store->Begin();
    for (size_t i = 0; i < k_Options; ++i)
      m_Store->Apply(ChangeOf(SampleFarm(), *OptionMessage(fmt::format("{}{}", name, i), "1")));
    m_Store->Commit();
    sqlite3_db_status(m_Store->Connection().Handle(), SQLITE_DBSTATUS_CACHE_HIT, &pages, &highest, 1);
    return pages;
  };
  const int before = pagesLookedAt("TheFirst");
  Apply(OptionMessage(o_UserLimits, String(std::string(100'000, 'x'))));
  Apply(OptionMessage("ThirdRate", String(std::string(60'000, 'x'))));
  EXPECT_LT(pagesLookedAt("TheSecond"), 2 * before);
}

TEST_F(StoreTest, BringsADatabaseOfLayout2ToThisOne) {
  Apply(OptionMessage("MaxJobs", "5"));
  Apply(OptionMessage(o_UserLimits, String(std::string(100'000, 'x'))));
  const Farm farm = m_Store->LoadFarm();
  m_Store->Connection().Execute(
      "ALTER TABLE option RENAME TO later;"
      "CREATE TABLE option (section BLOB NOT NULL, name TEXT NOT NULL COLLATE NOCASE, value TEXT NOT NULL, "
      "PRIMARY KEY (section, name)) WITHOUT ROWID;"
      "INSERT INTO option SELECT section, name, value FROM later; DROP TABLE later;"
      "ALTER TABLE master RENAME TO later; ALTER TABLE client RENAME TO later_client;"
      "CREATE TABLE master (id BLOB NOT NULL, name TEXT NOT NULL, authority_certificate TEXT NOT NULL, "
      "authority_key TEXT NOT NULL, server_certificate TEXT NOT NULL, server_key TEXT NOT NULL);"
      "CREATE TABLE client (serial TEXT PRIMARY KEY, name TEXT NOT NULL, role TEXT NOT NULL) WITHOUT ROWID;"
      "INSERT INTO master SELECT id, name, 'ca', 'ca key', server_certificate, server_key FROM later;"
      "INSERT INTO client SELECT serial, name, role FROM later_client;"
      "DROP TABLE later; DROP TABLE later_client; DROP TABLE authority; DROP TABLE clock;"
      "PRAGMA user_version = 2");
  m_Store.reset();
  EXPECT_THROW(Open(), StoreFailure);
  SqliteStore::BringToThisLayout(m_Folder.Name());
  Open();
  EXPECT_EQ(m_Store->LoadFarm().m_Options, farm.m_Options);
  Apply(OptionMessage("MAXJOBS", "6"));
  Open();
  EXPECT_EQ(m_Store->LoadFarm().m_Options.begin()->first, "MaxJobs");
  EXPECT_EQ(m_Store->LoadFarm().m_Options.begin()->second, "6");
  EXPECT_EQ(m_Store->LoadMaster().m_Authority.m_Key, "ca key");
  EXPECT_EQ(m_Store->FindClient("01")->m_Role, Role::k_Administrator);
  EXPECT_FALSE(m_Store->FindClient("01")->m_Expires);
}

} // namespace
} // namespace brenic::master
