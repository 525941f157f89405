// Whether a check tells where the table of certificates is not what the audit trail says.
#include <filesystem>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "TempFolder.h"
#include "brenic/ManagementMessages.h"
#include "farm/Samples.h"
#include "manage/Alone.h"
#include "manage/Backup.h"
#include "manage/CertificateWords.h"
#include "manage/Certificates.h"
#include "manage/Check.h"
#include "manage/Initialise.h"
#include "manage/Restore.h"
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

constexpr int64_t k_WholeDay = 24 * 60 * 60 * 1000;

class CertificateTrailTest : public testing::Test {
protected:
  CertificateTrailTest() { Initialise({Data(), "Farm", {"farm.example"}, 0}); }

  Path Data() const { return m_Folder / "data"; }

  void Issue(const String& name, const String& role = "component", bool isRenewal = false) {
    IssueClientMsg message;
    message.m_ID = UID(true);
    message.m_Name = name;
    message.m_Role = role;
    message.m_PublicKey = MakeKey().m_Public;
    message.m_Renew = isRenewal;
    message.m_Overlap = isRenewal ? 14 : 0;
    (void)AskAlone(Data(), message);
  }
  void Revoke(const String& client) {
    RevokeClientMsg message;
    message.m_ID = UID(true);
    message.m_Client = client;
    (void)AskAlone(Data(), message);
  }
  void Execute(const std::string& sql) {
    Database(SqliteStore::File(Data()), Database::Mode::k_ReadWrite).Execute(sql.c_str());
  }
  std::string Found(const Path& folder) const {
    const Findings findings = CheckFolder(folder);
    return findings.Problems().empty() && findings.Notes().empty() ? "" : FindingsText(findings);
  }
  std::string Found() const { return Found(Data()); }
  /// Everything that can become of a certificate.
  void Live() {
    Issue("node");
    Issue("boss", "administrator");
    Issue("boss", "component", true);
    Issue("admin", "administrator", true);
    Issue("lost', with the serial number 77", "component");
    Revoke("lost', with the serial number 77");
    Issue("both");
    Issue("both", {}, true);
    Revoke("both");
    Issue(std::string(64, 'n'));
  }

  const TempFolder m_Folder;
};

TEST_F(CertificateTrailTest, TellsNothingOfWhatAMasterDid) {
  EXPECT_EQ(Found(), "");
  Live();
  EXPECT_EQ(Found(), "");
}

TEST_F(CertificateTrailTest, TellsNothingOfARestoredMaster) {
  Live();
  Backup({Data(), m_Folder / "backup"});
  EXPECT_TRUE(CheckFile(m_Folder / "backup").Problems().empty());
  Revoke("node");
  Restore({m_Folder / "other", m_Folder / "backup", {}, {}, false, Data() / "revoked"}, AskAlone);
  EXPECT_EQ(Found(m_Folder / "other"), "");
  Database(SqliteStore::File(m_Folder / "other"), Database::Mode::k_ReadWrite)
      .Execute("UPDATE client SET revoked = NULL WHERE name = 'node'");
  EXPECT_THAT(Found(m_Folder / "other"), HasSubstr("is not revoked, but by record"));
}

TEST_F(CertificateTrailTest, TellsOfEachDifference) {
  Live();
  const std::string whole = ReadTextFile(SqliteStore::File(Data()).c_str());
  struct Difference {
    const char* m_Sql;
    const char* m_Found;
  };
  for (const auto& [sql, found] : std::vector<Difference>{
           {"UPDATE client SET role = 'administrator' WHERE name = 'node'", "it has the role component"},
           {"UPDATE client SET role = 'administrator' WHERE name = 'boss'", "it has the role component"},
           {"UPDATE client SET role = 'component' WHERE name = 'admin'", "it has the role administrator"},
           {"UPDATE client SET name = 'other' WHERE name = 'node'", "it is that of 'node'"},
           {"UPDATE client SET expires = expires + 90000000 WHERE name = 'node'", "it ends on"},
           {"UPDATE client SET expires = NULL WHERE name = 'node'", "ends on no date"},
           {"UPDATE client SET expires = expires + 86400000 WHERE serial = (SELECT serial FROM client WHERE "
            "name = 'admin' ORDER BY issued LIMIT 1)",
            "it ends on"},
           {"UPDATE client SET revoked = NULL WHERE name LIKE 'lost%'", "is not revoked"},
           {"UPDATE client SET revoked = NULL WHERE name = 'both'", "is not revoked"},
           {"DELETE FROM client WHERE name = 'node'", "is not in the table 'client'"},
           {"DELETE FROM client WHERE serial = (SELECT serial FROM client WHERE name = 'admin' ORDER BY "
            "issued "
            "LIMIT 1)",
            "is not in the table 'client'"},
           {"INSERT INTO client (serial, name, role, authority, issued, expires) SELECT '77', 'ghost', "
            "'administrator', 1, issued, expires FROM client WHERE name = 'node'",
            "The certificate 77 of 'ghost' was issued, though no record"},
           {"INSERT INTO client (serial, name, role, authority) VALUES ('77', 'ghost', 'component', 1)",
            "The certificate 77 of 'ghost' was issued, though no record"},
           {"INSERT INTO client (serial, name, role, authority, issued) VALUES ('77', 'admin', "
            "'administrator', 1, 5)",
            "of 'admin' was issued, though no record"}}) {
    WriteTextFile(SqliteStore::File(Data()).c_str(), whole);
    Execute(sql);
    EXPECT_THAT(Found(), HasSubstr(found)) << sql;
  }
}

TEST_F(CertificateTrailTest, FindsNothingWrongWhereRecordsNameOnlySomeOfManyCertificates) {
  Issue("many");
  for (int i = 0; i != 12; ++i)
    Issue("many", "", true);
  Issue("many", "administrator", true);
  EXPECT_EQ(Found(), "");
  Revoke("many");
  EXPECT_EQ(Found(), "");
}

TEST_F(CertificateTrailTest, TellsOfTheFirstAdministrator) {
  const std::string whole = ReadTextFile(SqliteStore::File(Data()).c_str());
  Execute("DELETE FROM client");
  EXPECT_THAT(Found(), HasSubstr("The first administrator's certificate, which"));
  WriteTextFile(SqliteStore::File(Data()).c_str(), whole);
  Execute("UPDATE client SET role = 'component'");
  EXPECT_THAT(Found(), HasSubstr("has another role, of which no record tells"));
}

TEST_F(CertificateTrailTest, GoesByTheRecordsThatAreKept) {
  Live();
  // As if the Master were old enough, and the first three records had left.
  const MasterRecord master = SqliteStore(Data(), Database::Mode::k_ReadOnly).LoadMaster();
  Execute("INSERT OR REPLACE INTO clock VALUES (1, " +
          std::to_string(Time::Now().Milliseconds() + 3 * k_WholeDay) +
          ", NULL, NULL); DELETE FROM audit WHERE sequence < 4");
  EXPECT_TRUE(CheckFolder(Data()).Problems().empty()) << Found();
  const std::string whole = ReadTextFile(SqliteStore::File(Data()).c_str());
  Execute("UPDATE client SET role = 'administrator' WHERE name = 'node'"); // its record has left
  EXPECT_TRUE(CheckFolder(Data()).Problems().empty()) << Found();
  Execute("INSERT INTO client (serial, name, role, authority, issued) SELECT '77', 'ghost', "
          "'administrator', 1, max(time) + 1 FROM audit");
  EXPECT_THAT(Found(), HasSubstr("The certificate 77 of 'ghost' was issued, though no record"));
  WriteTextFile(SqliteStore::File(Data()).c_str(), whole);
  Execute("UPDATE client SET revoked = NULL WHERE name = 'both'");
  EXPECT_THAT(Found(), HasSubstr("is not revoked"));
}

TEST_F(CertificateTrailTest, TellsOfRecordsThatAreTooYoungToHaveLeft) {
  Live();
  Execute("DELETE FROM audit WHERE sequence < 4");
  EXPECT_THAT(Found(),
              HasSubstr("Records 1 to 3 of the audit trail are missing, though the Master is younger"));
  Execute("DELETE FROM audit");
  EXPECT_THAT(Found(), HasSubstr("The audit trail is empty, though the number"));
}

TEST_F(CertificateTrailTest, TellsOfAClockThatMakesNoSense) {
  const auto found = [&](int64_t trusted, const std::string& doubt = "NULL, NULL") {
    Execute(fmt::format("INSERT OR REPLACE INTO clock VALUES (1, {}, {})", trusted, doubt));
    return Found();
  };
  const int64_t now = Time::Now().Milliseconds();
  EXPECT_EQ(found(now), "");
  EXPECT_EQ(found(now, fmt::format("5, {}", now + k_WholeDay)), "");
  EXPECT_EQ(found(now - 5000 * k_WholeDay), "");
  EXPECT_THAT(found(-5), HasSubstr("The time that was believed last, -5, is none"));
  EXPECT_THAT(found(std::numeric_limits<int64_t>::max()), HasSubstr("is far ahead"));
  EXPECT_THAT(found(now + 800 * k_WholeDay), HasSubstr("is far ahead"));
  EXPECT_THAT(found(now + 20 * k_WholeDay), HasSubstr("Note: The time that was believed last"));
  EXPECT_TRUE(CheckFolder(Data()).Problems().empty());
  EXPECT_THAT(found(now, "5, NULL"), HasSubstr("Of the clock's doubt only a part is kept"));
  EXPECT_THAT(found(now, fmt::format("5, {}", now + 2 * k_WholeDay)),
              HasSubstr("The clock's doubt lasts until"));
}

TEST_F(CertificateTrailTest, TellsNothingOfWhatWasMigrated) {
  for (int layout = 1; layout != k_Layout; ++layout) {
    const Path folder = m_Folder / ("layout" + std::to_string(layout));
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    std::filesystem::copy_file(LAYOUTS + std::to_string(layout) + "/master.db",
                               SqliteStore::File(folder).str().str());
    ASSERT_EQ(chmod(SqliteStore::File(folder).c_str(), 0600), 0);
    SqliteStore::BringToThisLayout(folder);
    EXPECT_TRUE(CheckFolder(folder).Problems().empty()) << layout << Found(folder);
    // One that was issued before, and is shown for the first time.
    Database(SqliteStore::File(folder), Database::Mode::k_ReadWrite)
        .Execute("UPDATE client SET issued = 1767225600000, expires = 4000000000000");
    EXPECT_TRUE(CheckFolder(folder).Problems().empty()) << layout << Found(folder);
    RevokeClientMsg message;
    message.m_ID = UID(true);
    message.m_Client = SqliteStore(folder, Database::Mode::k_ReadOnly).Clients().front().m_Serial;
    (void)AskAlone(folder, message);
    EXPECT_TRUE(CheckFolder(folder).Problems().empty()) << layout << Found(folder);
    Database(SqliteStore::File(folder), Database::Mode::k_ReadWrite)
        .Execute("INSERT INTO client (serial, name, role, authority, issued) SELECT '77', 'ghost', "
                 "'component', 1, max(time) + 1 FROM audit");
    EXPECT_THAT(Found(folder), HasSubstr("The certificate 77 of 'ghost' was issued, though no record"));
  }
}

TEST(CertificateWords, AreReadAsTheyWereWritten) {
  const String name = "a', valid until 2099-01-01; the one with the serial number 5 ends on 2099-01-01";
  const std::string issued = IssuedWords(name, Role::k_Component, "ab", 0);
  const std::string roles = "; 2 of them had another role, and loses it now";
  const auto issue =
      ReadIssued(name, issued + SupersededWords({{"cd", "1970-01-02"}, {"ef", "1970-01-03"}}) + roles);
  ASSERT_TRUE(issue);
  EXPECT_EQ(issue->m_Role, Role::k_Component);
  EXPECT_EQ(issue->m_Issued.m_Serial, "ab");
  EXPECT_EQ(issue->m_Issued.m_Date, "1970-01-01");
  ASSERT_EQ(issue->m_Superseded.size(), 2u);
  EXPECT_EQ(issue->m_Superseded[1].m_Serial, "ef");
  EXPECT_EQ(issue->m_Superseded[1].m_Date, "1970-01-03");
  EXPECT_TRUE(issue->m_AreAllTold);
  EXPECT_TRUE(ReadIssued(name, issued + roles)->m_Superseded.empty());
  EXPECT_FALSE(ReadIssued("b", issued));
  EXPECT_EQ(ReadRevocation(RevokedWords(name, {"ab"})), std::vector<std::string>{"ab"});
  EXPECT_EQ(ReadRevocation(RevokedWords(name, {"ab", "cd"})), (std::vector<std::string>{"ab", "cd"}));
  EXPECT_FALSE(ReadRevocation("Something else"));
}

TEST(CertificateWords, OfVeryManyTellThatThereAreMore) {
  const std::vector<EndTold> superseded(3000, {"cd", "1970-01-02"});
  const auto issue = ReadIssued("a", IssuedWords("a", Role::k_Component, "ab", 0) +
                                         SupersededWords(superseded) + "; 1 of them had another role");
  ASSERT_TRUE(issue);
  EXPECT_FALSE(issue->m_AreAllTold);
  const auto revoked = ReadRevocation(RevokedWords("a", std::vector<std::string>(3000, "cd")));
  ASSERT_TRUE(revoked);
  EXPECT_LT(revoked->size(), 20u);
}

} // namespace
} // namespace brenic::master
