// A thin layer over SQLite: statements with typed parameters, errors as StoreFailure.
#pragma once

#include <sqlite3.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "store/Store.h"

namespace brenic::master {

/// Bytes that are not text.
struct Blob {
  std::string_view m_Bytes;
};

/// The same, or NULL for a null pointer.
struct OptionalBlob {
  const std::string* m_Bytes;
};

/// A prepared statement. Parameters are bound in order, then rows are read. Reused by Reset.
class Statement {
public:
  Statement(sqlite3* database, std::string_view sql);
  ~Statement() { sqlite3_finalize(m_Statement); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  template <typename... Values>
  Statement& Bind(const Values&... values) {
    sqlite3_reset(m_Statement);
    int index = 0;
    (BindOne(++index, values), ...);
    return *this;
  }
  /// True while there is a row.
  bool Step();
  /// Runs a statement that returns no rows.
  template <typename... Values>
  void Run(const Values&... values) {
    Bind(values...);
    while (Step()) {
    }
  }

  int64_t Integer(int column) const { return sqlite3_column_int64(m_Statement, column); }
  bool IsNull(int column) const { return Type(column) == SQLITE_NULL; }
  /// What is stored there, whatever the column was declared as: SQLITE_TEXT and so on.
  int Type(int column) const { return sqlite3_column_type(m_Statement, column); }
  /// Text or blob.
  std::string Text(int column) const;

private:
  void BindOne(int index, int64_t value);
  void BindOne(int index, int value) { BindOne(index, static_cast<int64_t>(value)); }
  void BindOne(int index, const std::optional<int64_t>& value); // none is NULL
  void BindOne(int index, std::string_view text);
  void BindOne(int index, const Blob& blob);
  void BindOne(int index, const OptionalBlob& blob);
  /// Identifiers are blobs of 16 bytes.
  void BindOne(int index, const UID& id);

  sqlite3* m_Database;
  sqlite3_stmt* m_Statement = nullptr;
};

/// One connection to a database file.
class Database {
public:
  /// k_Alone: a file that nobody writes; no other file is looked at or made beside it.
  enum class Mode { k_ReadWrite, k_ReadOnly, k_Alone };

  Database(const Path& file, Mode mode);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void Execute(const char* sql);
  /// The single integer or text that the SQL yields.
  std::string Scalar(const char* sql);
  /// Makes another file readable as the schema `source`.
  void AttachSource(const Path& file, Mode mode);
  /// Ends what reads, as soon as `stop` says so, with a busy failure that tells of the log; it is asked every
  /// now and then. None: no more.
  void StopWhen(std::function<bool()> stop);
  /// Undoes an open transaction; never throws.
  void Rollback() noexcept;

  /// How much a checkpoint waits for others: not at all, or for all that read or write, so that the log is
  /// empty afterwards.
  enum class Checkpointing { k_Passive, k_Whole };
  /// Writes what was committed from the write-ahead log into the database itself, both synced. False when
  /// others that read or write keep some of it in the log.
  bool Checkpoint(Checkpointing how);
  /// Pages in the write-ahead log, as this connection's last commit or checkpoint left it.
  size_t LogPages() const { return m_LogPages; }

  /// Others that hold the database are not waited for from now on. Any thread.
  void Hurry() { m_Hurry = true; }

  sqlite3* Handle() { return m_Database; }

private:
  static int OnBusy(void* self, int calls);
  static int OnCommit(void* self, sqlite3* database, const char* name, int logPages);
  static int OnProgress(void* self);

  sqlite3* m_Database = nullptr;
  size_t m_LogPages = 0;
  std::atomic<bool> m_Hurry = false;
  std::function<bool()> m_Stop;
};

/// Sets that a commit has been synced when it returns, and checks that it is so: whoever changes these
/// settings would make "committed" mean less than it says. From then on only Checkpoint writes what is in the
/// log into the database, so that a failure of that is told. Throws StoreFailure.
void SetDurability(Database& database);

} // namespace brenic::master
