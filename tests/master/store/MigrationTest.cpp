// What becomes of a database of layout 1, kept in layout1, which its README.md explains.
#include <gmock/gmock.h>

#include "store/DatabaseContents.h"
#include "store/Layout1.h"
#include "store/SqliteStore.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

TEST_F(Layout1Test, IsNotReadBeforeTheMasterWasStartedWhichTheProgramSaysInOneLine) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"state"},
           {"state", "--json"},
           {"state", "--ini"},
           {"audit"},
           {"audit", "--json"},
           {"client", "new", "--role", "component", "--out", m_Folder / "new"}}) {
    const Ended ended = Run(arguments);
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_EQ(ended.m_Output, "");
    EXPECT_EQ(ended.m_Errors, "brenic-master: The database has layout 1; 'brenic-master serve' brings it to "
                              "layout 4, which this program reads\n");
  }
  EXPECT_EQ(m_Folder.Count(), 1u) << "there are no credentials";
  EXPECT_TRUE(ReadTextFile(File()) == Kept("master.db"));
}

TEST_F(Layout1Test, ALaterLayoutIsRefusedInOneLine) {
  Execute("PRAGMA user_version = 5");
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"state"}, {"audit"}, {"serve", "--listen", "127.0.0.1:0"}}) {
    const Ended ended = Run(arguments);
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_EQ(ended.m_Output, "");
    EXPECT_EQ(ended.m_Errors, "brenic-master: The database has layout 5, made by a newer brenic-master; this "
                              "one is 1.0.0 and reads layout 4. It needs the one that made it\n");
  }
  EXPECT_EQ(Scalar("PRAGMA user_version"), "5");
}

TEST_F(Layout1Test, HoldsTheSameAsBefore) {
  SqliteStore::BringToThisLayout(Data());
  nlohmann::ordered_json expected = nlohmann::ordered_json::parse(Kept("state.json"));
  auto state = nlohmann::ordered_json::parse(Output({"state", "--json"}));
  state["master"]["version"] = expected["master"]["version"]; // of the program that printed it
  EXPECT_EQ(state.dump() + "\n", Kept("state.json"));
  EXPECT_EQ(Output({"state", "--ini"}), Kept("state.ini"));
  EXPECT_EQ(Output({"state"}), Kept("state.txt"));
}

TEST_F(Layout1Test, KeepsItsTrailLineForLine) {
  SqliteStore::BringToThisLayout(Data());
  ASSERT_EQ(Lines(Kept("audit.txt")).size(), 123u);
  EXPECT_EQ(Lines(Output({"audit"})), Lines(Kept("audit.txt")));
  EXPECT_EQ(Lines(Output({"audit", "--json"})), Lines(Kept("audit.jsonl")));
  EXPECT_EQ(Lines(Output({"audit", "--since", "2200-01-01"})).size(), 0u);
}

TEST_F(Layout1Test, GetsTheTablesOfANewDatabase) {
  SqliteStore::BringToThisLayout(Data());
  const TempFolder other;
  SqliteStore::Create(other / "master.db", MasterRecord(), {"01", "admin", Role::k_Administrator});
  const auto shape = [](const std::string& file) {
    Database database(file, Database::Mode::k_ReadOnly);
    std::vector<std::string> lines{"layout " + database.Scalar("PRAGMA user_version")};
    Statement row(database.Handle(),
                  "SELECT t.name, c.cid, c.name, c.type, c.\"notnull\", c.dflt_value, c.pk, t.wr, t.strict "
                  "FROM pragma_table_list AS t, pragma_table_info(t.name) AS c "
                  "WHERE t.name NOT LIKE 'sqlite_schema' ORDER BY t.name, c.cid");
    while (row.Step()) {
      lines.emplace_back();
      for (int column = 0; column != 9; ++column)
        lines.back() += (row.IsNull(column) ? "-" : row.Text(column)) + "|";
    }
    Statement index(
        database.Handle(),
        "SELECT t.name, i.name, i.\"unique\", i.origin, i.partial, x.seqno, x.name "
        "FROM pragma_table_list AS t, pragma_index_list(t.name) AS i, pragma_index_info(i.name) AS x "
        "ORDER BY t.name, i.name, x.seqno");
    while (index.Step()) {
      lines.emplace_back("index ");
      for (int column = 0; column != 7; ++column)
        lines.back() += index.Text(column) + "|";
    }
    return lines;
  };
  const auto fresh = shape(other / "master.db");
  EXPECT_GT(fresh.size(), 50u);
  EXPECT_THAT(fresh, testing::Contains("layout 4"));
  EXPECT_EQ(shape(File()), fresh);
}

TEST_F(Layout1Test, KeepsEachDocumentOnceByItsDigest) {
  std::map<std::string, std::string> documents; // of the products of layout 1, by digest
  {
    Database database(File(), Database::Mode::k_ReadOnly);
    Statement row(database.Handle(), "SELECT document FROM product WHERE origin <> 'removed'");
    while (row.Step())
      documents[Sha256(row.Text(0))] = row.Text(0);
  }
  ASSERT_GT(documents.size(), 5u);
  SqliteStore::BringToThisLayout(Data());
  Database database(File(), Database::Mode::k_ReadOnly);
  std::map<std::string, std::string> kept;
  Statement row(database.Handle(), "SELECT digest, document FROM document");
  while (row.Step())
    kept[row.Text(0)] = row.Text(1);
  EXPECT_EQ(kept, documents);
  EXPECT_EQ(database.Scalar("SELECT group_concat(DISTINCT origin || typeof(digest)) FROM "
                            "(SELECT * FROM product ORDER BY origin)"),
            "customblob,defaultblob,removednull");
  EXPECT_EQ(database.Scalar("SELECT count(*) FROM audit WHERE request IS NOT NULL OR change IS NOT NULL"),
            "0");
  EXPECT_EQ(database.Scalar("SELECT count(*) FROM change_document"), "0");
  EXPECT_EQ(database.Scalar("PRAGMA integrity_check"), "ok");
}

TEST_F(Layout1Test, IsBroughtToThisLayoutOnce) {
  SqliteStore::BringToThisLayout(Data());
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  const std::string once = ReadTextFile(File());
  SqliteStore::BringToThisLayout(Data());
  SqliteStore::BringToThisLayout(Data());
  EXPECT_TRUE(ReadTextFile(File()) == once);
}

TEST_F(Layout1Test, StaysWhenTheMasterIsStartedWithArgumentsThatItCannotUse) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--products", m_Folder / "nowhere", "--listen", "127.0.0.1:0"},
                                             {"--listen", "localhost:0"},
                                             {"--config", m_Folder / "nowhere"}}) {
    std::vector<std::string> serve{"serve"};
    serve.insert(serve.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(Run(serve).m_Status, 1);
    EXPECT_EQ(Scalar("PRAGMA user_version"), "1") << arguments[0];
  }
}

TEST_F(Layout1Test, StaysWholeWhenItCannotBeBroughtToThisLayout) {
  // Each stands in the way at another point.
  for (const char* obstacle :
       {"CREATE TABLE product_of_layout_1 (a)", "CREATE TABLE document (a)",
        "CREATE TABLE change_document (a)", "ALTER TABLE audit ADD COLUMN size INTEGER",
        "ALTER TABLE audit ADD COLUMN change BLOB", "ALTER TABLE audit ADD COLUMN request BLOB",
        "CREATE TABLE option_of_layout_2 (a)", "CREATE TABLE client_of_layout_3 (a)",
        "CREATE TABLE clock (a)"}) {
    std::filesystem::remove_all(Data());
    std::filesystem::create_directory(Data());
    std::filesystem::copy_file(std::string(LAYOUT1) + "/master.db", File());
    Execute(obstacle);
    const std::string before = Contents(File());
    try {
      SqliteStore::BringToThisLayout(Data());
      ADD_FAILURE() << obstacle;
    } catch (const StoreFailure& failure) {
      EXPECT_THAT(failure.what(),
                  HasSubstr("cannot be brought from layout 1 to layout 4 and stays as it was"));
    }
    EXPECT_EQ(Contents(File()), before) << obstacle;
    EXPECT_EQ(Scalar("PRAGMA user_version"), "1") << obstacle;
  }
}

} // namespace
} // namespace brenic::master
