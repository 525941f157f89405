#include "store/DatabaseCheck.h"

#include <algorithm>
#include <set>

#include <fmt/core.h>

#include "rlib/Escape.h"
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

constexpr char k_Restore[] = "restore the last backup that is whole";

/// A database in memory with the tables as they are made.
class Model {
public:
  explicit Model(bool isAccepted) {
    if (sqlite3_open(":memory:", &m_Database) != SQLITE_OK)
      throw StoreFailure("Cannot make a database in memory");
    for (const char* tables : k_AllTables)
      Make(tables);
    if (!isAccepted)
      Make(k_NotAcceptedTable);
  }
  ~Model() { sqlite3_close_v2(m_Database); }
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  sqlite3* Handle() { return m_Database; }

private:
  void Make(const char* tables) {
    if (sqlite3_exec(m_Database, tables, nullptr, nullptr, nullptr) != SQLITE_OK)
      throw StoreFailure("Cannot make the tables in memory");
  }

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

bool IsOfThisLayout(Database& database, Findings& findings) {
  const int layout = std::stoi(database.Scalar("PRAGMA user_version"));
  if (layout == k_Layout)
    return true;
  if (layout > 0 && layout < k_Layout)
    findings.Note(
        fmt::format("The database has layout {}, so its pages alone were checked, not settings, audit "
                    "trail and certificates; {} brings it to layout {}",
                    layout, WhatBringsToThisLayout(database), k_Layout));
  else
    findings.Problem(
        fmt::format(
            "The database has layout {}, of which this program checks the pages alone: it knows layout {}",
            layout, k_Layout),
        layout > k_Layout ? "check it with the newer brenic-master that made it" : k_Restore);
  return false;
}

/// Everything that matters of tables and indexes, a line for each column.
std::set<std::string> Describe(sqlite3* database) {
  std::set<std::string> lines;
  for (const char* query :
       {"SELECT 'column ' || m.name || '.' || c.name || ' ' || c.type || CASE WHEN c.\"notnull\" "
        "THEN ' not null' ELSE '' END || CASE WHEN c.pk THEN ' key ' || c.pk ELSE '' END "
        "FROM sqlite_schema m, pragma_table_info(m.name) c "
        "WHERE m.type = 'table' AND substr(m.name, 1, 7) <> 'sqlite_'",
        "SELECT 'index ' || CASE WHEN l.origin = 'c' THEN l.name ELSE 'of the key' END || ' of ' || "
        "m.name || CASE WHEN l.\"unique\" THEN ' unique' ELSE '' END || CASE WHEN l.partial THEN ' "
        "partial' ELSE '' END || ' ' || x.seqno || ' ' || ifnull(x.name, 'row') || ' ' || x.coll "
        "FROM sqlite_schema m, pragma_index_list(m.name) l, pragma_index_xinfo(l.name) x "
        "WHERE m.type = 'table' AND substr(m.name, 1, 7) <> 'sqlite_' AND x.key",
        "SELECT type || ' ' || name FROM sqlite_schema WHERE type IN ('view', 'trigger')"}) {
    Statement row(database, query);
    while (row.Step())
      lines.insert(row.Text(0));
  }
  return lines;
}

void CheckSchema(Database& database, Model& model, Findings& findings) {
  const std::set<std::string> expected = Describe(model.Handle());
  const std::set<std::string> found = Describe(database.Handle());
  for (const std::string& line : expected)
    if (!found.contains(line))
      findings.Problem("The database lacks the " + line, k_Restore);
  for (const std::string& line : found)
    if (!expected.contains(line))
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
  findings.Guard("The database", [&] { isOfThisLayout = IsOfThisLayout(database, findings); });
  if (!isOfThisLayout)
    return false;
  bool isAccepted = true;
  findings.Guard("The database", [&] { isAccepted = IsAccepted(database); });
  Model model(isAccepted);
  findings.Guard("The database", [&] { CheckSchema(database, model, findings); });
  CheckKinds(database, model, findings);
  return true;
}

} // namespace brenic::master
