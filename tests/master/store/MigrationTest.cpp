// What becomes of a database of layout 1, kept in layout1, which its README.md explains.
#include <filesystem>
#include <future>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "TempFolder.h"
#include "brenic/wire/Hex.h"
#include "farm/RandomRequests.h"
#include "serve/TestFarm.h"
#include "serve/Writer.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

std::string Kept(const std::string& name) {
  return ReadTextFile(std::string(LAYOUT1) + "/" + name);
}

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

/// Every table with its columns and rows.
std::string Contents(const std::string& file) {
  Database database(file, Database::Mode::k_ReadOnly);
  std::vector<std::string> tables;
  Statement table(database.Handle(), "SELECT name, sql FROM sqlite_master ORDER BY name");
  std::string out;
  while (table.Step()) {
    out += table.Text(0) + ": " + table.Text(1) + "\n";
    if (table.Text(1).rfind("CREATE TABLE", 0) == 0)
      tables.push_back(table.Text(0));
  }
  for (const std::string& name : tables) {
    std::string columns;
    Statement column(database.Handle(), "SELECT name FROM pragma_table_info(?)");
    for (column.Bind(name); column.Step();)
      columns += (columns.empty() ? "quote(\"" : " || ' ' || quote(\"") + column.Text(0) + "\")";
    Statement row(database.Handle(), "SELECT " + columns + " AS line FROM \"" + name + "\" ORDER BY line");
    for (out += name + "\n"; row.Step();)
      out += row.Text(0) + "\n";
  }
  return out;
}

class Layout1Test : public testing::Test {
protected:
  Layout1Test() {
    std::filesystem::create_directory(Data());
    std::filesystem::permissions(Data(), std::filesystem::perms::owner_all);
    std::filesystem::copy_file(std::string(LAYOUT1) + "/master.db", File());
    chmod(File().c_str(), 0600);
  }
  std::string Data() const { return m_Folder / "data"; }
  std::string File() const { return Data() + "/master.db"; }

  Ended Run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--data-dir", Data()});
    return RunMaster(arguments);
  }
  std::string Output(const std::vector<std::string>& arguments) const {
    const Ended ended = Run(arguments);
    EXPECT_EQ(ended.m_Status, 0) << ended.m_Errors;
    return ended.m_Output;
  }
  void Execute(const char* sql) const { Database(File(), Database::Mode::k_ReadWrite).Execute(sql); }
  std::string Scalar(const char* sql) const {
    return Database(File(), Database::Mode::k_ReadOnly).Scalar(sql);
  }

  const TempFolder m_Folder;
};

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
                              "layout 2, which this program reads\n");
  }
  EXPECT_EQ(m_Folder.Count(), 1u) << "there are no credentials";
  EXPECT_TRUE(ReadTextFile(File()) == Kept("master.db"));
}

TEST_F(Layout1Test, ALaterLayoutIsRefusedInOneLine) {
  Execute("PRAGMA user_version = 3");
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"state"}, {"audit"}, {"serve", "--listen", "127.0.0.1:0"}}) {
    const Ended ended = Run(arguments);
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_EQ(ended.m_Output, "");
    EXPECT_EQ(ended.m_Errors, "brenic-master: The database has layout 3, made by a newer brenic-master; this "
                              "one reads layout 2\n");
  }
  EXPECT_EQ(Scalar("PRAGMA user_version"), "3");
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
  EXPECT_THAT(fresh, testing::Contains("layout 2"));
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

TEST_F(Layout1Test, StaysWholeWhenItCannotBeBroughtToThisLayout) {
  // Each stands in the way at another point.
  for (const char* obstacle :
       {"CREATE TABLE product_of_layout_1 (a)", "CREATE TABLE document (a)",
        "CREATE TABLE change_document (a)", "ALTER TABLE audit ADD COLUMN size INTEGER",
        "ALTER TABLE audit ADD COLUMN change BLOB", "ALTER TABLE audit ADD COLUMN request BLOB"}) {
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
                  HasSubstr("cannot be brought from layout 1 to layout 2 and stays as it was"));
    }
    EXPECT_EQ(Contents(File()), before) << obstacle;
    EXPECT_EQ(Scalar("PRAGMA user_version"), "1") << obstacle;
  }
}

/// A Writer on what became of the database.
class Layout1WriterTest : public Layout1Test {
protected:
  Layout1WriterTest() {
    SqliteStore::BringToThisLayout(Data());
    auto store = std::make_unique<SqliteStore>(Data(), Database::Mode::k_ReadWrite);
    for (const auto& [key, role] : std::map<std::string, Role>{{"uid:0", Role::k_Administrator}})
      m_Roles[key] = role;
    Statement client(store->Connection().Handle(), "SELECT serial, role FROM client");
    while (client.Step())
      m_Roles[client.Text(0)] = RoleOf(client.Text(1));
    m_Writer = std::make_unique<Writer>(
        std::move(store), MachineCommandLines{"reboot", "shutdown"}, m_Snapshots,
        [this](Batch batch) { m_Batch.set_value(std::move(batch)); }, "a later run");
    m_Writer->Start();
  }

  wire::Answer Ask(const std::string& key, const std::string& bytes) {
    wire::Envelope envelope;
    EXPECT_TRUE(envelope.ParseFromString(bytes));
    auto peer = std::make_shared<Peer>();
    peer->m_Key = key;
    peer->m_Name = "worker-17"; // of the one component, whose refusals name it
    peer->m_Role = m_Roles.at(key);
    m_Batch = {};
    auto batch = m_Batch.get_future();
    m_Writer->Submit(MakeRequest(1, peer, envelope, bytes));
    const RequestResult result = batch.get().m_Results.at(0);
    EXPECT_FALSE(result.m_Operation);
    wire::FrameReader reader;
    reader.Feed(*result.m_Frames);
    const auto frame = reader.Next();
    EXPECT_TRUE(frame && frame->has_answer());
    return frame->answer();
  }
  /// The farm and the trail, as they are in the database.
  std::string Everything() const {
    SqliteStore store(Data(), Database::Mode::k_ReadOnly);
    return Describe(store.LoadFarm()) + store.Connection().Scalar("SELECT count(*) FROM audit");
  }

  static const char* Name(wire::Answer::Outcome outcome) {
    return outcome == wire::Answer::COMMITTED ? "committed"
           : outcome == wire::Answer::REFUSED ? "refused"
                                              : "unknown";
  }

  std::map<std::string, Role> m_Roles; // by client key
  SnapshotHolder m_Snapshots;
  std::promise<Batch> m_Batch;
  std::unique_ptr<Writer> m_Writer;
};

TEST_F(Layout1WriterTest, RecognisesWhatWasSentBefore) {
  const std::string before = Everything();
  const auto requests = nlohmann::json::parse(Kept("resend.json"));
  ASSERT_EQ(requests.size(), 17u);
  size_t encodedOtherwise = 0;
  for (int round = 0; round != 2; ++round) {
    for (const auto& request : requests) {
      const auto answer = Ask(request["client_key"], FromHex(request["envelope"].get<std::string>()));
      EXPECT_EQ(Name(answer.outcome()), request["answer"]) << request["sequence"];
      EXPECT_EQ(answer.reason(), request["answer_reason"]) << request["sequence"];
      encodedOtherwise += request["digest"] != request["digest_of_sent"];
    }
  }
  EXPECT_EQ(encodedOtherwise, 8u);
  EXPECT_EQ(Everything(), before);
}

TEST_F(Layout1WriterTest, RefusesAnIdentifierThatWasUsedForSomethingElse) {
  const std::string before = Everything();
  for (const auto& request : nlohmann::json::parse(Kept("resend.json"))) {
    const std::string bytes = FromHex(request["envelope"].get<std::string>());
    UID identifier;
    ASSERT_TRUE(identifier.FromString(request["message_id"].get<std::string>()));
    const std::string id = FromHex("0a10") + wire::IdentifierBytes(identifier);
    const std::string more = FromHex("4a03") + "new"; // a field that is not known
    for (const std::string& other : {bytes + more, id + FromHex("c20100"), id}) {
      if (other == bytes)
        continue;
      const auto answer = Ask(request["client_key"], other);
      EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED) << request["sequence"];
      EXPECT_EQ(answer.reason(), "its identifier was already used for another request")
          << request["sequence"];
    }
  }
  EXPECT_EQ(Everything(), before);
}

TEST_F(Layout1WriterTest, RecordsWhatIsNewInTheNewLayout) {
  wire::Envelope envelope;
  wire::ToWire(*OptionMessage("MAXJOBS", "7"), envelope);
  const std::string bytes =
      envelope.SerializeAsString() + FromHex("4a036e6577"); // as it came, not as encoded
  EXPECT_EQ(Ask("uid:0", bytes).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(Ask("uid:0", bytes).outcome(), wire::Answer::COMMITTED);
  std::vector<AuditRecord> records;
  SqliteStore store(Data(), Database::Mode::k_ReadOnly);
  store.ReadAudit(0, [&](const AuditRecord& record) { records.push_back(record); });
  ASSERT_EQ(records.size(), 124u);
  for (size_t i = 0; i != 123; ++i)
    ASSERT_TRUE(records[i].IsOfLayout1() && !records[i].m_Request && !records[i].LoadedChange()) << i;
  const AuditRecord& last = records.back();
  EXPECT_EQ(last.m_Sequence, 124);
  EXPECT_FALSE(last.IsOfLayout1());
  EXPECT_EQ(last.m_Digest, Sha256(bytes));
  EXPECT_EQ(last.m_Size, bytes.size());
  ASSERT_TRUE(last.m_Request && last.LoadedChange());
  EXPECT_EQ(*last.m_Request, bytes);
  EXPECT_EQ(last.LoadedChange()->m_Options,
            (std::vector<OptionChange>{{UID::Null, "MaxJobs", {String("700"), String("7")}}}));
  EXPECT_EQ(store.LoadFarm().Option("MaxJobs"), "7");
  // Here the bytes are what counts: the same request in another order is another one.
  EXPECT_EQ(Ask("uid:0", FromHex("4a036e6577") + envelope.SerializeAsString()).outcome(),
            wire::Answer::REFUSED);
}

} // namespace
} // namespace brenic::master
