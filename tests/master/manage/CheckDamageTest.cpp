// Each damage to a database is found by a check, or does no harm.
#include <random>

#include "manage/CheckedFolder.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class CheckDamage : public CheckedFolder {};

struct Damage {
  const char* m_Sql;
  const char* m_Found;
};

constexpr Damage k_Damages[] = {
    {"UPDATE option SET value = CAST(x'ff41' AS TEXT) WHERE name = 'Twice'", "'Twice' is not valid UTF-8"},
    {"UPDATE option SET name = 'a' || char(10) WHERE name = 'Twice'", "holds a control character"},
    {"UPDATE option SET name = '' WHERE name = 'Twice'", "The name of an option is empty"},
    {"UPDATE option SET name = printf('%.300c', 'a') WHERE name = 'Twice'", "has 300 bytes"},
    {"UPDATE option SET value = printf('%.70000c', 'a') WHERE name = 'Twice'", "has 70000 bytes"},
    {"UPDATE option SET value = x'35' WHERE name = 'Twice'",
     "'value' of the table 'option' holds what is no text"},
    {"UPDATE option SET section = x'00' WHERE name = 'Twice'", "not 16 bytes long but 1"},
    {"INSERT INTO option VALUES (zeroblob(16), 'DefaultIdleTimeout', 'soon')", "whole number of minutes"},
    {"DELETE FROM option WHERE name = 'Twice'", "left the option 'Twice' in another state"},
    {"UPDATE option SET value = '1' WHERE name = 'Twice'", "left the option 'Twice' in another state"},
    {"UPDATE option SET value = '4' WHERE name = 'Param'", "left the option 'Param' of the type ab"},
    {"INSERT INTO option VALUES (zeroblob(16), 'Ghost', '1')",
     "No record of the audit trail tells of the option 'Ghost'"},
    {"UPDATE option SET value = value || ';x' WHERE name LIKE 'userlimits'",
     "left the user limits in another state"},
    {"DELETE FROM option WHERE name LIKE 'userlimits'", "left the user limits in another state"},
    {"UPDATE type_limit SET workers = -2", "is -2"},
    {"UPDATE type_limit SET workers = 99999999999", "is 99999999999"},
    {"UPDATE type_limit SET workers = 'many'",
     "'workers' of the table 'type_limit' holds what is no integer"},
    {"INSERT INTO type_limit VALUES (x'', 1)", "not 16 bytes long but 0"},
    {"INSERT INTO type_limit VALUES (zeroblob(16), 1)", "limit of no type"},
    {"DELETE FROM type_limit", "left the worker limit of the type"},
    {"INSERT INTO restriction VALUES ('')", "The name of a restriction is empty"},
    {"INSERT INTO restriction VALUES ('Ghost')", "tells of the restriction 'Ghost'"},
    {"DELETE FROM restriction", "left the restriction 'NoMore' in another state"},
    {"UPDATE path_translations SET list = x'ff'", "The path translations cannot be read"},
    {"UPDATE path_translations SET list = x''", "left the path translations in another state"},
    {"UPDATE path_translations SET list = x'0a070a050807120178'", "there is no platform 7"},
    {"UPDATE path_translations SET list = CAST(list || x'f80701' AS BLOB)", "not written as a Master writes"},
    {"DELETE FROM path_translations", "left the path translations in another state"},
    {"UPDATE document SET document = replace(document, 'Own', 'Owl')", "was damaged"},
    {"DELETE FROM document WHERE document LIKE '%Own%'", "its document is missing"},
    {"UPDATE product SET digest = (SELECT digest FROM document WHERE document LIKE '%Another%') WHERE digest "
     "= "
     "(SELECT digest FROM document WHERE document LIKE '%Own%')",
     "its document is that of"},
    {"UPDATE product SET origin = 'removed' WHERE origin = 'custom'", "is removed, but has a document"},
    {"UPDATE product SET digest = NULL WHERE origin = 'custom'", "its document is missing"},
    {"UPDATE product SET digest = x'01' WHERE origin = 'default'", "its document is missing"},
    {"UPDATE product SET type = x'01' WHERE origin = 'default' AND type = (SELECT min(type) FROM product "
     "WHERE "
     "origin = 'default')",
     "not 16 bytes long but 1"},
    {"UPDATE product SET origin = 'borrowed' WHERE origin = 'custom'", "has an unknown origin"},
    {"DELETE FROM product WHERE origin = 'custom'", "left the product"},
    {"DELETE FROM audit WHERE sequence = 3", "Record 3 of the audit trail is missing"},
    {"DELETE FROM audit WHERE sequence BETWEEN 3 AND 5", "Records 3 to 5 of the audit trail are missing"},
    {"DELETE FROM audit WHERE sequence = (SELECT max(sequence) FROM audit)",
     "but the last that was given is"},
    {"DELETE FROM audit", "The audit trail is empty"},
    {"UPDATE sqlite_sequence SET seq = 1 WHERE name = 'audit'", "but the last that was given is 1"},
    {"DELETE FROM sqlite_sequence WHERE name = 'audit'", "but the last that was given is not known"},
    {"UPDATE audit SET sequence = -5 WHERE sequence = 3",
     "Record -5 of the audit trail has a number that none"},
    {"UPDATE audit SET sequence = 100000 WHERE sequence = 3", "are missing"},
    {"UPDATE audit SET time = -1 WHERE sequence = 3", "Record 3 of the audit trail has no time"},
    {"UPDATE audit SET time = 'noon' WHERE sequence = 3",
     "'time' of the table 'audit' holds what is no integer"},
    {"UPDATE audit SET time = 4000000000000 WHERE sequence = 3", "is still to come"},
    {"UPDATE audit SET time = time - 8000000 WHERE sequence = 4", "the clock was set back"},
    {"UPDATE audit SET client_role = 'king' WHERE sequence = 3", "has an unknown role"},
    {"UPDATE audit SET result = 'maybe' WHERE sequence = 3", "has an unknown result"},
    {"UPDATE audit SET message_id = x'01' WHERE sequence = 3", "has an identifier that is not 16 bytes long"},
    {"UPDATE audit SET message_id = randomblob(16) WHERE sequence = 3",
     "keeps a request of another identifier"},
    {"UPDATE audit SET digest = x'01' WHERE sequence = 3", "has a digest that is not 32 bytes long"},
    {"UPDATE audit SET digest = (SELECT digest FROM audit WHERE sequence = 4) WHERE sequence = 3",
     "keeps a request that is not that of its digest"},
    {"UPDATE audit SET fields = '{' WHERE sequence = 3", "has fields that are no JSON"},
    {"UPDATE audit SET request = CAST(request || x'00' AS BLOB) WHERE sequence = 3", "keeps"},
    {"UPDATE audit SET request = x'ff' WHERE sequence = 3", "keeps a request that cannot be decoded"},
    {"UPDATE audit SET size = -1 WHERE sequence = 3", "has a negative size"},
    {"UPDATE audit SET size = 0 WHERE sequence = 3", "of a request of 0"},
    {"UPDATE audit SET class = 'LogDumpMsg' WHERE sequence = 3", "keeps a request of another class"},
    {"UPDATE audit SET reason = CAST(x'ff' AS TEXT) WHERE sequence = 3", "not valid UTF-8"},
    {"UPDATE audit SET change = x'ff' WHERE sequence = 3", "cannot be decoded"},
    {"UPDATE audit SET change = x'' WHERE sequence = 3", "holds nothing which this program knows"},
    {"UPDATE audit SET change = NULL WHERE change = (SELECT change FROM audit WHERE class = "
     "'SetMasterLimitsMsg' AND "
     "change IS NOT NULL ORDER BY sequence DESC LIMIT 1)",
     "the worker limit of the type"},
    {"UPDATE audit SET change = x'2205080112' WHERE sequence = 3", "cannot be decoded"},
    {"UPDATE audit SET result = 'refused' WHERE sequence = (SELECT max(sequence) - 9 FROM audit)",
     "has a change, but was not committed"},
    {"DELETE FROM change_document", "is not kept for it"},
    {"DROP INDEX audit_message", "lacks the index audit_message"},
    {"CREATE TRIGGER spy AFTER INSERT ON audit BEGIN DELETE FROM option; END", "has the trigger spy"},
    {"CREATE VIEW spy AS SELECT 1", "has the view spy"},
    {"ALTER TABLE audit ADD COLUMN extra", "has the column audit.extra"},
    {"DROP TABLE restriction", "lacks the column restriction.name"},
    {"PRAGMA user_version = 0", "has layout 0"},
    {"PRAGMA user_version = 99", "has layout 99"},
    {"PRAGMA user_version = -1", "has layout -1"},
    {"DELETE FROM master", "There are 0 rows in the table 'master'"},
    {"INSERT INTO master SELECT * FROM master", "There are 2 rows in the table 'master'"},
    {"UPDATE master SET id = zeroblob(16)", "The Master's identifier is none"},
    {"UPDATE master SET name = ''", "The Master's name is empty"},
    {"UPDATE master SET address = 'a/b'", "The Master's address"},
    {"UPDATE master SET server_certificate = 'x'", "The certificate of the Master cannot be read"},
    {"UPDATE master SET server_key = 'x'", "The private key of the Master cannot be read"},
    {"UPDATE master SET server_key = ''", "The Master's private key is not here"},
    {"UPDATE master SET server_key = (SELECT key FROM authority)", "is not that of its certificate"},
    {"UPDATE master SET server_authority = 5", "of the authority 5, which is not here"},
    {"UPDATE authority SET certificate = (SELECT server_certificate FROM master)", "is none of an authority"},
    {"UPDATE authority SET certificate = 'x'", "The certificate of authority 1 cannot be read"},
    {"UPDATE authority SET key = (SELECT server_key FROM master)", "is not that of its certificate"},
    {"UPDATE authority SET key = ''", "no certificate can be issued"},
    {"DELETE FROM authority", "There is no certificate authority"},
    {"UPDATE client SET serial = 'XYZ'", "has no serial number"},
    {"UPDATE client SET name = ''", "has a client whose name is empty"},
    {"UPDATE client SET role = 'king'", "has an unknown role"},
    {"UPDATE client SET authority = 9", "of the authority 9, which never was"},
    {"UPDATE client SET issued = 2, expires = 1", "ends before it was issued"},
};

TEST_F(CheckDamage, FindsWhatWasChangedPastTheMaster) {
  static_assert(std::size(k_Damages) >= 50);
  for (const auto& [sql, found] : k_Damages) {
    Write(s_Whole);
    Execute(sql);
    EXPECT_THAT(Found(), HasSubstr(found)) << sql;
  }
}

TEST_F(CheckDamage, FindsOrOutlivesEveryDamageToThePages) {
  const std::string served = Served();
  ASSERT_NE(served, "");
  std::mt19937 random(5);
  size_t found = 0, harmless = 0;
  const auto damage = [&](size_t at, size_t length) {
    std::string bytes = s_Whole;
    bytes.replace(at, length, std::string(length, '\xee')); // no text, and no number that would go unseen
    Write(bytes);
    if (!Found().empty())
      ++found;
    else {
      ++harmless;
      Write(bytes);
      EXPECT_EQ(Served(), served) << length << " bytes at " << at;
    }
  };
  for (size_t at = 0; at != 100; at += 4) // the file's header
    damage(at, at % 8 == 0 ? 1 : 4);
  for (int i = 0; i != 100; ++i) {
    const size_t length = i % 2 == 0 ? 64 : 300;
    damage(random() % (s_Whole.size() - length), length);
  }
  EXPECT_GE(found, 25u);
  EXPECT_EQ(found + harmless, 125u);
}

TEST_F(CheckDamage, FindsWhatIsMissingOfTheFile) {
  for (size_t size : {size_t(0), size_t(1), size_t(99), size_t(100), size_t(4096), s_Whole.size() / 2,
                      s_Whole.size() - 4096, s_Whole.size() - 1}) {
    Write(s_Whole.substr(0, size));
    EXPECT_NE(Found(), "") << size;
  }
  Write(std::string(s_Whole.size(), '\0'));
  EXPECT_NE(Found(), "");
}

} // namespace
} // namespace brenic::master
