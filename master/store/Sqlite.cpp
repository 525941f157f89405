#include "store/Sqlite.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fmt/core.h>

namespace brenic::master {

namespace {

constexpr int k_BusyMilliseconds = 10'000;
constexpr int k_BusyStep = 10;               // milliseconds
constexpr int k_LogBytes = 16 * 1024 * 1024; // a longer log file is cut to that when it begins anew

/// Whether it failed for want of space and changed nothing. A sync that failed is not among that, whatever
/// its reason: what it should have written may be lost.
bool IsFull(sqlite3* database, int code) {
  const bool isOpening = code == SQLITE_IOERR_SHMOPEN || code == SQLITE_IOERR_SHMSIZE ||
                         code == SQLITE_IOERR_SHMMAP || (code & 0xff) == SQLITE_CANTOPEN;
  const int system = sqlite3_system_errno(database);
  return (code & 0xff) == SQLITE_FULL || (isOpening && (system == ENOSPC || system == EDQUOT));
}

[[noreturn]] void Throw(sqlite3* database, const std::string& what) {
  const int code = sqlite3_extended_errcode(database);
  const bool isFull = IsFull(database, code);
  const bool isBusy = (code & 0xff) == SQLITE_BUSY;
  if (code == SQLITE_INTERRUPT)
    throw StoreFailure("It took so long that others made the Master's log too long meanwhile; try again when "
                       "less is changed",
                       StoreFailure::Kind::k_Busy);
  throw StoreFailure(
      fmt::format("{}: {} (SQLite {})", what, isFull ? "the disk is full" : sqlite3_errmsg(database), code),
      isFull   ? StoreFailure::Kind::k_Full
      : isBusy ? StoreFailure::Kind::k_Busy
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

void Statement::BindOne(int index, const std::optional<int64_t>& value) {
  if (value)
    return BindOne(index, *value);
  if (sqlite3_bind_null(m_Statement, index) != SQLITE_OK)
    Throw(m_Database, "Cannot bind nothing");
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

namespace {

/// The file's name as SQLite takes it with a mode.
std::string UriOf(const Path& file, Database::Mode mode) {
  std::string uri = "file://";
  for (const char c : std::filesystem::absolute(file.str().str()).string()) {
    if (c == '/' && uri.size() > 7 && uri.back() == '/')
      continue; // the path begins with one slash
    const bool isPlain = std::isalnum(static_cast<unsigned char>(c)) || std::strchr("/._-", c);
    uri += isPlain ? std::string(1, c) : fmt::format("%{:02x}", static_cast<unsigned char>(c));
  }
  return uri + (mode == Database::Mode::k_ReadWrite  ? "?mode=rw"
                : mode == Database::Mode::k_ReadOnly ? "?mode=ro"
                                                     : "?mode=ro&immutable=1");
}

} // namespace

Database::Database(const Path& file, Mode mode) {
  constexpr int k_Flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
  const int flags = mode == Mode::k_ReadWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
  if (sqlite3_open_v2(UriOf(file, mode).c_str(), &m_Database, flags | k_Flags, nullptr) != SQLITE_OK) {
    const std::string reason = m_Database ? sqlite3_errmsg(m_Database) : "out of memory";
    sqlite3_close(m_Database);
    throw StoreFailure(fmt::format("Cannot open the database '{}': {}", file.str().str(), reason));
  }
  sqlite3_busy_handler(m_Database, OnBusy, this);
  if (mode == Mode::k_ReadWrite) // in place of SQLite's own checkpoints, which tell nobody when they fail
    sqlite3_wal_hook(m_Database, OnCommit, this);
}

/// Whether SQLite is to try again.
int Database::OnBusy(void* self, int calls) {
  if (static_cast<const Database*>(self)->m_Hurry || calls * k_BusyStep >= k_BusyMilliseconds)
    return 0;
  sqlite3_sleep(k_BusyStep);
  return 1;
}

int Database::OnCommit(void* self, sqlite3*, const char*, int logPages) {
  static_cast<Database*>(self)->m_LogPages = static_cast<size_t>(logPages);
  return SQLITE_OK;
}

int Database::OnProgress(void* self) {
  return static_cast<const Database*>(self)->m_Stop() ? 1 : 0;
}

void Database::AttachSource(const Path& file, Mode mode) {
  Statement(m_Database, "ATTACH ? AS source").Run(UriOf(file, mode));
}

void Database::StopWhen(std::function<bool()> stop) {
  constexpr int k_Instructions = 10'000; // of SQLite's machine, between two questions
  m_Stop = std::move(stop);
  sqlite3_progress_handler(m_Database, k_Instructions, m_Stop ? OnProgress : nullptr, this);
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

bool Database::Checkpoint(Checkpointing how) {
  int inLog = 0;
  int done = 0;
  const int code = sqlite3_wal_checkpoint_v2(
      m_Database, nullptr,
      how == Checkpointing::k_Whole ? SQLITE_CHECKPOINT_TRUNCATE : SQLITE_CHECKPOINT_PASSIVE, &inLog, &done);
  if (code == SQLITE_BUSY)
    return false;
  if (code != SQLITE_OK)
    Throw(m_Database, "Cannot write the database");
  m_LogPages = static_cast<size_t>(inLog);
  return done == inLog;
}

void SetDurability(Database& database) {
  database.Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
  database.Execute(fmt::format("PRAGMA journal_size_limit = {}", k_LogBytes).c_str());
  const std::string journal = database.Scalar("PRAGMA journal_mode");
  const std::string synchronous = database.Scalar("PRAGMA synchronous");
  if (journal != "wal" || synchronous != "2")
    throw StoreFailure(fmt::format("The database does not keep its promises: journal mode {}, synchronous {}",
                                   journal, synchronous));
}

} // namespace brenic::master
