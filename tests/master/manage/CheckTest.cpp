// What a check says of a data folder, or of a backup.
#include <filesystem>

#include <unistd.h>

#include "manage/Backup.h"
#include "manage/Certificates.h"
#include "manage/CheckedFolder.h"
#include "manage/Restore.h"
#include "store/RevokedFile.h"
#include "store/SqliteSchema.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class CheckTest : public CheckedFolder {
protected:
  template <typename Function>
  static std::string WhyNotChecked(Function check) {
    try {
      check();
    } catch (Exception* error) {
      const std::unique_ptr<Exception> owned(error);
      return error->Message().str();
    }
    return "";
  }
};

/// This process as one that may not look into the folder.
class AsNobody {
public:
  explicit AsNobody(const std::string& folder) : m_Folder(folder) {
    EXPECT_EQ(chmod(folder.c_str(), geteuid() == 0 ? 0700 : 0), 0);
    if (geteuid() == 0) {
      EXPECT_EQ(seteuid(65534), 0);
    }
  }
  ~AsNobody() {
    EXPECT_EQ(seteuid(getuid()), 0);
    EXPECT_EQ(chmod(m_Folder.c_str(), 0700), 0);
  }

private:
  const std::string m_Folder;
};

TEST_F(CheckTest, FindsNothingInWhatAMasterWrote) {
  EXPECT_EQ(Found(), "");
  const std::string text = FindingsText(CheckFolder(Data()));
  EXPECT_THAT(text, HasSubstr(" records, "));
  EXPECT_THAT(text, HasSubstr(": nothing is wrong\n"));
}

TEST_F(CheckTest, FindsTheKeyOfAnotherAuthority) {
  const Credential other = MakeAuthority("Brenic authority");
  {
    Database database(File(), Database::Mode::k_ReadWrite);
    Statement(database.Handle(), "UPDATE authority SET certificate = ?, key = ?")
        .Run(other.m_Certificate, other.m_Key);
  }
  EXPECT_THAT(Found(), HasSubstr("was not issued by the authority 1"));
}

TEST_F(CheckTest, FindsAnAuthorityThatIsNotAsItWasSigned) {
  std::string certificate =
      SqliteStore(Data(), Database::Mode::k_ReadOnly).LoadMaster().m_Authority.m_Certificate;
  const size_t inSignature = certificate.find("-----END") - 30;
  certificate[inSignature] = certificate[inSignature] == 'A' ? 'B' : 'A';
  {
    Database database(File(), Database::Mode::k_ReadWrite);
    Statement(database.Handle(), "UPDATE authority SET certificate = ?").Run(certificate);
  }
  EXPECT_THAT(CheckFolder(Data()).Problems(),
              testing::ElementsAre(HasSubstr("The certificate of authority 1 is not as it was signed")));
}

TEST_F(CheckTest, TellsAChangeThatCannotBeDecodedOnce) {
  // An earlier one set the same option, to another value than it has now.
  Execute("UPDATE audit SET change = x'ff' WHERE sequence = (SELECT max(sequence) FROM audit WHERE "
          "instr(change, CAST('Twice' AS BLOB)))");
  EXPECT_THAT(CheckFolder(Data()).Problems(),
              testing::ElementsAre(HasSubstr(" of the audit trail cannot be read: ")));
}

TEST_F(CheckTest, FindsProductsThatCannotStandBesideEachOther) {
  const auto add = [&](const std::string& document, const UID& type) {
    Database database(File(), Database::Mode::k_ReadWrite);
    Statement(database.Handle(), "INSERT INTO document VALUES (?,?)").Run(Blob{Sha256(document)}, document);
    Statement(database.Handle(), "INSERT INTO product VALUES (?, 'custom', ?)")
        .Run(type, Blob{Sha256(document)});
  };
  add(MakeProduct(20, "OWN")->Document(), Type(20));
  EXPECT_THAT(Found(), HasSubstr("have the same name"));
  add("{}", Type(21));
  EXPECT_THAT(Found(), HasSubstr("The product " + Type(21).ToString().str() + " cannot be used"));
}

TEST_F(CheckTest, FindsWhatTheListOfRevokedCertificatesSaysOtherwise) {
  const std::string serial = SqliteStore(Data(), Database::Mode::k_ReadOnly).Clients()[0].m_Serial;
  AppendRevocations(RevokedFile(Data()), {{1, serial, "admin"}});
  EXPECT_THAT(Found(), HasSubstr("stands in the file 'revoked', but is valid"));
  Execute("UPDATE client SET revoked = 1");
  EXPECT_EQ(Found().find("stand in the file 'revoked'"), std::string::npos);
  const std::string missing =
      "The certificate " + serial +
      " of 'admin' is revoked, but does not stand in the file 'revoked'; the next start";
  WriteTextFile(RevokedFile(Data()).c_str(), "");
  EXPECT_THAT(Found(), HasSubstr(missing));
  unlink(RevokedFile(Data()).c_str());
  EXPECT_THAT(Found(), HasSubstr(missing));
  WriteTextFile(RevokedFile(Data()).c_str(), "x\n");
  EXPECT_THAT(Found(), HasSubstr("Line 1 of"));
}

TEST_F(CheckTest, FindsWhatWasRevokedPastTheMaster) {
  Execute("UPDATE client SET revoked = 1767225600123");
  EXPECT_THAT(Found(), HasSubstr("of 'admin' is revoked, though no record of the audit trail tells of it"));
  Execute("UPDATE client SET revoked = -1");
  EXPECT_THAT(Found(), HasSubstr("has a time that is none"));
}

TEST_F(CheckTest, FindsAnAddressThatTheCertificateIsNotValidFor) {
  Execute("UPDATE master SET address = 'Farm.Example.:7000'");
  EXPECT_EQ(Found(), "");
  Execute("UPDATE master SET address = 'other.example'");
  EXPECT_THAT(Found(), HasSubstr("New credentials name the host 'other.example', for which the Master's "
                                 "certificate is not valid; make it valid for it with"));
}

TEST_F(CheckTest, FindsAClientsNameWithAControlCharacterInTheTrail) {
  Execute("UPDATE audit SET client_name = 'a' || char(27) || '[2J' WHERE sequence = 3");
  EXPECT_THAT(Found(), HasSubstr("Record 3 of the audit trail has a client whose name holds a control"));
}

TEST_F(CheckTest, LooksAtABackupAsWell) {
  const TempFolder folder;
  Backup({Data(), folder / "backup"});
  EXPECT_TRUE(CheckFile(folder / "backup").Problems().empty());
  EXPECT_TRUE(CheckFile(folder / "backup").Notes().empty());
  Backup({Data(), folder / "public", false});
  const Findings findings = CheckFile(folder / "public");
  EXPECT_TRUE(findings.Problems().empty()) << FindingsText(findings);
  EXPECT_EQ(findings.Notes().size(), 2u);
  EXPECT_EQ(folder.Count(), 2u);
  WriteTextFile(folder / "text", "letter");
  EXPECT_THAT(FindingsText(CheckFile(folder / "text")), HasSubstr("is no backup of a Master"));
}

TEST_F(CheckTest, SaysWhatIsInPlaceOfAFolder) {
  const TempFolder folder;
  const auto why = [&](const Path& path) { return WhyNotChecked([&] { CheckFolder(path); }); };
  EXPECT_THAT(why(folder / "none"), HasSubstr("There is no folder '" + (folder / "none") + "' to check"));
  EXPECT_THAT(why(folder.Name()), HasSubstr("is empty: there is nothing to check"));
  WriteTextFile(folder / "file", "letter");
  EXPECT_THAT(why(folder.Name()), HasSubstr("holds no Master: there is no master.db in it"));
  EXPECT_THAT(why(folder / "file"), HasSubstr("but a file of that name"));
  EXPECT_EQ(WhyNotChecked([&] { CheckFile(folder / "none"); }),
            "There is no file '" + (folder / "none") + "'");
  EXPECT_THAT(WhyNotChecked([&] { CheckFile(folder.Name()); }),
              HasSubstr("is a folder; check a data folder with"));

  const AsNobody nobody(folder.Name());
  EXPECT_THAT(why(folder.Name()), HasSubstr("run this as the Master's user or as root"));
  EXPECT_THAT(WhyNotChecked([&] { CheckFile(folder / "file"); }), HasSubstr("Cannot read '"));
}

TEST_F(CheckTest, TakesAnEarlierLayoutForNoProblem) {
  for (int layout = 1; layout != k_Layout; ++layout) {
    const std::string file = LAYOUTS + std::to_string(layout) + "/master.db";
    Write(ReadTextFile(file));
    const Findings findings = CheckFolder(Data());
    EXPECT_TRUE(findings.Problems().empty()) << FindingsText(findings);
    ASSERT_EQ(findings.Notes().size(), 1u);
    EXPECT_THAT(findings.Notes()[0], HasSubstr("has layout " + std::to_string(layout) +
                                               ", so its pages alone were checked, not settings"));
    EXPECT_THAT(findings.Notes()[0], HasSubstr("'brenic-master serve' brings it to layout"));
    EXPECT_TRUE(CheckFile(file).Problems().empty());
    AppendRevocations(RevokedFile(Data()), {{1, "ab", "node"}});
    EXPECT_TRUE(CheckFolder(Data()).Problems().empty());
    std::string damaged = ReadTextFile(file);
    damaged.replace(2 * 4096, 200, std::string(200, '\xee'));
    Write(damaged);
    EXPECT_FALSE(CheckFolder(Data()).Problems().empty()) << layout;
  }
}

TEST_F(CheckTest, KnowsTheMarkOfARestoredFolder) {
  Execute("CREATE TABLE not_accepted (only INTEGER PRIMARY KEY)");
  EXPECT_EQ(Found().find("Note: It was restored and waits for 'brenic-master restore --accept'\n"), 0u)
      << Found();
  EXPECT_TRUE(CheckFolder(Data()).Problems().empty());
  Execute("CREATE TABLE not_accepted_by_us (a INTEGER)");
  EXPECT_THAT(Found(), HasSubstr("has the column not_accepted_by_us.a INTEGER, which no Master makes"));
  Execute("DROP TABLE not_accepted_by_us; DROP TABLE not_accepted; CREATE TABLE not_accepted (letter TEXT)");
  EXPECT_THAT(Found(), HasSubstr("has the column not_accepted.letter TEXT, which no Master makes"));
}

TEST_F(CheckTest, SaysWhichKeysAreNotThere) {
  const TempFolder folder;
  Execute("UPDATE authority SET key = ''");
  EXPECT_EQ(KeysText(Backup({Data(), folder / "backup"}).m_Keys),
            "the Master's own, not that of authority 1");
  EXPECT_THAT(CheckFile(folder / "backup").Notes(),
              testing::ElementsAre("The private key of authority 1 is not here: no certificate can be issued "
                                   "with this"));
  Execute("INSERT INTO authority SELECT 2, certificate, (SELECT server_key FROM master) FROM authority; "
          "UPDATE master SET server_key = ''");
  EXPECT_EQ(KeysText(Backup({Data(), folder / "other"}).m_Keys),
            "that of authority 2, not the Master's own, not that of authority 1");
}

TEST_F(CheckTest, CountsWhatItDoesNotShow) {
  Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
          "INSERT INTO restriction SELECT 'Ghost' || i FROM n");
  const Findings findings = CheckFolder(Data());
  EXPECT_EQ(findings.Problems().size(), Findings::k_Most);
  EXPECT_EQ(findings.MoreThanKept(), 2000u);
  EXPECT_THAT(FindingsText(findings), HasSubstr("2000 more are not shown"));
}

} // namespace
} // namespace brenic::master
