#include "store/DatabaseCheck.h"

#include <algorithm>
#include <set>

#include <fmt/core.h>

#include "rlib/Escape.h"
#include "store/SqliteSchema.h"

namespace brenic::master {

namespace {

constexpr char k_Restore[] = "restore the last backup that is whole";

/// A database in memory with the tables as they are made.
class Model {
public:
  Model() {
    if (sqlite3_open(":memory:", &m_Database) != SQLITE_OK)
      throw StoreFailure("Cannot make a database in memory");
    for (const char* tables : k_AllTables)
      if (sqlite3_exec(m_Database, tables, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw StoreFailure("Cannot make the tables in memory");
  }
  ~Model() { sqlite3_close_v2(m_Database); }
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  sqlite3* Handle() { return m_Database; }

private:
  sqlite3* m_Database = nullptr;
};

void CheckPages(Database& database, Findings& findings) {
  Statement row(database.Handle(), "PRAGMA integrity_check(100)");
  while (row.Step()) {
    const std::string lines = row.Text(0);
    for (size_t begin = 0; begin < lines.size();) {
      const size_t end = std::min(lines.find('\n', begin), lines.size());
      const std::string line = lines.substr(begin, end - begin);
      if (line != "ok" && !line.starts_with("***"))
        findings.Problem("The database file is damaged: " + line, k_Restore);
      begin = end + 1;
    }
  }
}

bool CheckLayout(Database& database, Findings& findings) {
  const std::string layout = database.Scalar("PRAGMA user_version");
  if (layout == std::to_string(k_Layout))
    return true;
  findings.Problem(fmt::format("The database has layout {}, of which this program checks the pages alone: it "
                               "knows layout {}",
                               layout, k_Layout),
                   "an earlier layout is brought to this one by 'brenic-master serve', a later one needs a "
                   "newer brenic-master");
  return false;
}

/// Everything that matters of tables and indexes, a line for each column.
std::set<std::string> Describe(sqlite3* database) {
  std::set<std::string> lines;
  Statement columns(database,
                    "SELECT 'column ' || m.name || '.' || c.name || ' ' || c.type || CASE WHEN c.\"notnull\" "
                    "THEN ' not null' ELSE '' END || CASE WHEN c.pk THEN ' key ' || c.pk ELSE '' END "
                    "FROM sqlite_schema m, pragma_table_info(m.name) c "
                    "WHERE m.type = 'table' AND substr(m.name, 1, 7) <> 'sqlite_'");
  while (columns.Step())
    lines.insert(columns.Text(0));
  Statement indexes(
      database, "SELECT 'index ' || CASE WHEN l.origin = 'c' THEN l.name ELSE 'of the key' END || ' of ' || "
                "m.name || CASE WHEN l.\"unique\" THEN ' unique' ELSE '' END || CASE WHEN l.partial THEN ' "
                "partial' ELSE '' END || ' ' || x.seqno || ' ' || ifnull(x.name, 'row') || ' ' || x.coll "
                "FROM sqlite_schema m, pragma_index_list(m.name) l, pragma_index_xinfo(l.name) x "
                "WHERE m.type = 'table' AND substr(m.name, 1, 7) <> 'sqlite_' AND x.key");
  while (indexes.Step())
    lines.insert(indexes.Text(0));
  Statement others(database,
                   "SELECT type || ' ' || name FROM sqlite_schema WHERE type IN ('view', 'trigger')");
  while (others.Step())
    lines.insert(others.Text(0));
  return lines;
}

void CheckSchema(Database& database, Model& model, Findings& findings) {
  const std::set<std::string> expected = Describe(model.Handle());
  const std::set<std::string> found = Describe(database.Handle());
  for (const std::string& line : expected)
    if (!found.contains(line))
      findings.Problem("The database lacks the " + line, k_Restore);
  for (const std::string& line : found)
    if (!expected.contains(line) && line.find("not_accepted") == std::string::npos) // of a restored one
      findings.Problem("The database has the " + line + ", which no Master makes",
                       "if you made it, take it away with sqlite3, else restore a backup");
}

/// A database keeps any kind of value in any column.
void CheckKinds(Database& database, Model& model, Findings& findings) {
  Statement columns(
      model.Handle(),
      "SELECT m.name, c.name, lower(c.type), c.\"notnull\" OR c.pk FROM sqlite_schema m, "
      "pragma_table_info(m.name) c WHERE m.type = 'table' AND substr(m.name, 1, 7) <> 'sqlite_'");
  while (columns.Step()) {
    const std::string table = columns.Text(0), column = columns.Text(1), kind = columns.Text(2);
    const std::string allowed = columns.Integer(3) ? "" : fmt::format(" AND {} IS NOT NULL", column);
    findings.Guard(("The table '" + table + "'").c_str(), [&] {
      const std::string count = database.Scalar(
          fmt::format("SELECT count(*) FROM {} WHERE typeof({}) <> '{}'{}", table, column, kind, allowed)
              .c_str());
      if (count != "0")
        findings.Problem(fmt::format("The column '{}' of the table '{}' holds what is no {} in {} rows",
                                     column, table, kind, count),
                         k_Restore);
    });
  }
}

} // namespace

bool CheckDatabase(Database& database, Findings& findings) {
  bool isOfThisLayout = false;
  findings.Guard("The database", [&] { CheckPages(database, findings); });
  findings.Guard("The database", [&] { isOfThisLayout = CheckLayout(database, findings); });
  if (!isOfThisLayout)
    return false;
  Model model;
  findings.Guard("The database", [&] { CheckSchema(database, model, findings); });
  CheckKinds(database, model, findings);
  return true;
}

} // namespace brenic::master
