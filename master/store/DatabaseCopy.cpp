#include "store/DatabaseCopy.h"

#include <filesystem>
#include <vector>

#include <fmt/format.h>

#include "store/DurableFiles.h"

namespace brenic::master {

namespace {

struct Column {
  const char* m_Table;
  const char* m_Name;
};

/// Every column of every layout that holds private keys.
constexpr Column k_KeyColumns[] = {
    {"master", "authority_key"}, {"master", "server_key"}, {"authority", "key"}};

bool HoldsKeys(const std::string& table, const std::string& column) {
  return std::any_of(std::begin(k_KeyColumns), std::end(k_KeyColumns),
                     [&](const Column& key) { return table == key.m_Table && column == key.m_Name; });
}

std::string Quoted(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name)
    quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

/// The statements that made what the source has of a kind, by name.
std::vector<std::pair<std::string, std::string>> Schema(Database& database, std::string_view kind) {
  std::vector<std::pair<std::string, std::string>> schema;
  Statement row(database.Handle(), "SELECT name, sql FROM source.sqlite_schema WHERE type = ? AND sql IS NOT "
                                   "NULL AND substr(name, 1, 7) <> 'sqlite_' ORDER BY rowid");
  row.Bind(kind);
  while (row.Step())
    schema.emplace_back(row.Text(0), row.Text(1));
  return schema;
}

void CopyTable(Database& database, const std::string& name, bool withKeys) {
  std::string columns = "*";
  if (!withKeys) {
    columns.clear();
    Statement row(database.Handle(), "SELECT name FROM pragma_table_info(?, 'source')");
    row.Bind(name);
    while (row.Step())
      columns += (columns.empty() ? "" : ", ") + (HoldsKeys(name, row.Text(0)) ? "''" : Quoted(row.Text(0)));
  }
  database.Execute(
      fmt::format("INSERT INTO main.{0} SELECT {1} FROM source.{0}", Quoted(name), columns).c_str());
}

void CopyAll(Database& database, bool withKeys) {
  // In a transaction: all of it is of the commit that the first look at the source finds.
  database.Execute("BEGIN");
  for (const char* number : {"user_version", "application_id"}) {
    const std::string value = database.Scalar(fmt::format("PRAGMA source.{}", number).c_str());
    database.Execute(fmt::format("PRAGMA main.{} = {}", number, value).c_str());
  }
  const auto tables = Schema(database, "table");
  if (tables.empty())
    throw StoreFailure("it holds nothing");
  for (const auto& [name, sql] : tables)
    database.Execute(sql.c_str());
  for (const auto& [name, sql] : tables)
    CopyTable(database, name, withKeys);
  // The last sequence of the trail, which its records need not tell.
  database.Execute("DELETE FROM main.sqlite_sequence;"
                   "INSERT INTO main.sqlite_sequence SELECT * FROM source.sqlite_sequence");
  for (const auto& [name, sql] : Schema(database, "index"))
    database.Execute(sql.c_str());
  database.Execute("COMMIT; DETACH source");
}

uintmax_t SizeOf(const std::string& file) {
  std::error_code error;
  const uintmax_t size = std::filesystem::file_size(file, error);
  return error ? 0 : size;
}

HeldKeys KeysIn(Database& database) {
  HeldKeys keys;
  keys.m_Master = database.Scalar("SELECT count(*) FROM master WHERE length(server_key) > 0") != "0";
  // Up to layout 3 there was one authority.
  Statement row(database.Handle(), HasColumn(database, "authority", "key")
                                       ? "SELECT number, length(key) FROM authority ORDER BY number"
                                       : "SELECT 1, length(authority_key) FROM master");
  while (row.Step())
    (row.Integer(1) > 0 ? keys.m_Authorities : keys.m_Missing).push_back(row.Integer(0));
  return keys;
}

} // namespace

bool HasColumn(Database& database, const char* table, const char* column) {
  Statement row(database.Handle(), "SELECT 1 FROM pragma_table_info(?) WHERE name = ?");
  row.Bind(std::string_view(table), std::string_view(column));
  bool isThere = false;
  while (row.Step())
    isThere = true;
  return isThere;
}

CopiedState ReadCopiedState(Database& database) {
  CopiedState state;
  Statement last(database.Handle(), "SELECT sequence, time FROM audit ORDER BY sequence DESC LIMIT 1");
  while (last.Step()) {
    state.m_Sequence = last.Integer(0);
    state.m_Time = last.Integer(1);
  }
  state.m_Keys = KeysIn(database);
  return state;
}

std::string KeysText(const HeldKeys& keys) {
  std::vector<std::string> parts;
  const auto add = [&](const char* before, const std::vector<int64_t>& numbers) {
    for (const int64_t number : numbers)
      parts.push_back(fmt::format("{}that of authority {}", before, number));
  };
  if (keys.m_Master)
    parts.emplace_back("the Master's own");
  add("", keys.m_Authorities);
  if (!keys.m_Master)
    parts.emplace_back("not the Master's own");
  add("not ", keys.m_Missing);
  return fmt::format("{}", fmt::join(parts, ", "));
}

void StopWhenLogGrows(Database& database, const Path& file, uintmax_t most) {
  database.StopWhen([most, log = file.str().str() + "-wal"] { return SizeOf(log) > most; });
}

CopiedState CopyDatabase(const Path& source, const Path& target, const CopyOptions& options) {
  CopiedState state;
  {
    Database database(target, Database::Mode::k_ReadWrite);
    // The file is given its name when all of it is there: nothing would be rolled back.
    database.Execute("PRAGMA main.journal_mode = OFF; PRAGMA main.synchronous = OFF");
    database.AttachSource(source, options.m_Mode);
    StopWhenLogGrows(database, source, options.m_MostLog);
    CopyAll(database, options.m_WithKeys);
    database.StopWhen(nullptr);
    if (const std::string found = database.Scalar("PRAGMA integrity_check"); found != "ok")
      throw StoreFailure("the copy is damaged: " + found);
    state = ReadCopiedState(database);
  }
  SyncFile(target);
  return state;
}

} // namespace brenic::master
