#include "store/Sqlite.h"

#include <fmt/core.h>

namespace brenic::master {

namespace {

constexpr int k_BusyMilliseconds = 10'000;

[[noreturn]] void Throw(sqlite3* database, const std::string& what) {
  const int code = sqlite3_extended_errcode(database);
  const int primary = code & 0xff;
  throw StoreFailure(fmt::format("{}: {} (SQLite {})", what, sqlite3_errmsg(database), code),
                     primary == SQLITE_FULL   ? StoreFailure::Kind::k_Full
                     : primary == SQLITE_BUSY ? StoreFailure::Kind::k_Busy
                                              : StoreFailure::Kind::k_Broken);
}

} // namespace

Statement::Statement(sqlite3* database, std::string_view sql) : m_Database(database) {
  const int length = static_cast<int>(sql.size());
  if (sqlite3_prepare_v3(database, sql.data(), length, SQLITE_PREPARE_PERSISTENT, &m_Statement, nullptr) !=
      SQLITE_OK)
    Throw(database, "Cannot prepare a statement");
}

bool Statement::Step() {
  const int code = sqlite3_step(m_Statement);
  if (code == SQLITE_ROW)
    return true;
  if (code != SQLITE_DONE) {
    sqlite3_reset(m_Statement);
    Throw(m_Database, "Cannot access the database");
  }
  sqlite3_reset(m_Statement);
  return false;
}

std::string Statement::Text(int column) const {
  const void* bytes = sqlite3_column_blob(m_Statement, column);
  return bytes ? std::string(static_cast<const char*>(bytes),
                             static_cast<size_t>(sqlite3_column_bytes(m_Statement, column)))
               : std::string();
}

void Statement::BindOne(int index, int64_t value) {
  if (sqlite3_bind_int64(m_Statement, index, value) != SQLITE_OK)
    Throw(m_Database, "Cannot bind a value");
}

void Statement::BindOne(int index, std::string_view text) {
  if (sqlite3_bind_text64(m_Statement, index, text.data() ? text.data() : "", text.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8) != SQLITE_OK)
    Throw(m_Database, "Cannot bind a text");
}

void Statement::BindOne(int index, const Blob& blob) {
  // A null pointer would bind NULL.
  const char* bytes = blob.m_Bytes.data() ? blob.m_Bytes.data() : "";
  if (sqlite3_bind_blob64(m_Statement, index, bytes, blob.m_Bytes.size(), SQLITE_TRANSIENT) != SQLITE_OK)
    Throw(m_Database, "Cannot bind bytes");
}

void Statement::BindOne(int index, const OptionalBlob& blob) {
  if (blob.m_Bytes)
    return BindOne(index, Blob{*blob.m_Bytes});
  if (sqlite3_bind_null(m_Statement, index) != SQLITE_OK)
    Throw(m_Database, "Cannot bind nothing");
}

void Statement::BindOne(int index, const UID& id) {
  const auto& bytes = id.Bytes();
  BindOne(index, Blob{{reinterpret_cast<const char*>(bytes.data()), bytes.size()}});
}

Database::Database(const Path& file, Mode mode) {
  const int flags = mode == Mode::k_ReadWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
  if (sqlite3_open_v2(file.c_str(), &m_Database, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    const std::string reason = m_Database ? sqlite3_errmsg(m_Database) : "out of memory";
    sqlite3_close(m_Database);
    throw StoreFailure(fmt::format("Cannot open the database '{}': {}", file.str().str(), reason));
  }
  sqlite3_busy_timeout(m_Database, k_BusyMilliseconds);
}

Database::~Database() {
  sqlite3_close_v2(m_Database);
}

void Database::Execute(const char* sql) {
  if (sqlite3_exec(m_Database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    Throw(m_Database, "Cannot access the database");
}

std::string Database::Scalar(const char* sql) {
  Statement statement(m_Database, sql);
  return statement.Step() ? statement.Text(0) : std::string();
}

void Database::Rollback() noexcept {
  if (!sqlite3_get_autocommit(m_Database))
    sqlite3_exec(m_Database, "ROLLBACK", nullptr, nullptr, nullptr);
}

void SetDurability(Database& database) {
  database.Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
  const std::string journal = database.Scalar("PRAGMA journal_mode");
  const std::string synchronous = database.Scalar("PRAGMA synchronous");
  if (journal != "wal" || synchronous != "2")
    throw StoreFailure(fmt::format("The database does not keep its promises: journal mode {}, synchronous {}",
                                   journal, synchronous));
}

} // namespace brenic::master
