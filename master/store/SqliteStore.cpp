#include "store/SqliteStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <fmt/core.h>

#include "Release.h"
#include "store/SqliteSchema.h"
#include "wire/Contents.h"

namespace brenic::master {

namespace {

/// Another layout's tables would be misread.
void CheckLayout(Database& database) {
  const int layout = std::stoi(database.Scalar("PRAGMA user_version"));
  if (layout == k_Layout)
    return;
  if (layout <= 0)
    throw StoreFailure("The database is not a Master's");
  if (layout < k_Layout)
    throw StoreFailure(
        fmt::format("The database has layout {}; {} brings it to layout {}, which this program reads", layout,
                    WhatBringsToThisLayout(database), k_Layout));
  const auto maker = static_cast<unsigned>(std::stol(database.Scalar("PRAGMA application_id")));
  throw StoreFailure(fmt::format("The database has layout {}, made by a newer brenic-master; this one is {} "
                                 "and reads layout {}. It needs {}",
                                 layout, rlib::VER_STRING(k_Version).str(), k_Layout,
                                 maker > k_Version
                                     ? "brenic-master " + rlib::VER_STRING(maker).str() + " or newer"
                                     : "the one that made it"));
}

} // namespace

const char* WhatBringsToThisLayout(Database& database) {
  return IsAccepted(database) ? "'brenic-master serve'"
                              : "'brenic-master restore --accept' or '--revoked FILE'";
}

void SetLayout(Database& database) {
  database.Execute(fmt::format("PRAGMA user_version = {}; PRAGMA application_id = {}", k_Layout,
                               static_cast<int32_t>(k_Version))
                       .c_str());
}

Path SqliteStore::File(const Path& dataFolder) {
  return dataFolder / "master.db";
}

void SqliteStore::Create(const Path& file, const MasterRecord& master, const ClientRecord& firstClient) {
  // It holds private keys: made closed to others, before SQLite makes it by itself.
  const int made = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (made < 0)
    throw StoreFailure("Cannot make the database '" + file.str().str() +
                       "': " + rlib::ErrorText(errno).str());
  close(made);
  Database database(file, Database::Mode::k_ReadWrite);
  // Without a write-ahead log at first: what fails is told by the commit, and the file is all there is.
  database.Execute("PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL");
  database.Execute("BEGIN IMMEDIATE");
  for (const char* tables : k_AllTables)
    database.Execute(tables);
  SetLayout(database);
  InsertCredentials(database.Handle(), master, firstClient);
  database.Execute("COMMIT");
  SetDurability(database);
  if (const std::string found = database.Scalar("PRAGMA quick_check"); found != "ok")
    throw StoreFailure("The new database is damaged: " + found);
}

SqliteStore::SqliteStore(const Path& dataFolder, Database::Mode mode, bool isBesideServer)
    : m_Database(File(dataFolder), mode) {
  if (mode != Database::Mode::k_ReadOnly)
    SetDurability(m_Database);
  CheckLayout(m_Database);
  if (mode != Database::Mode::k_ReadOnly && !isBesideServer)
    MakeDurable();
}

/// What was recovered from the log may never have been synced: a power cut would lose it, after a request
/// that was sent again had been told that it was committed. Nor may the log go on behind it, since recovery
/// ends at the first page that is not there.
void SqliteStore::MakeDurable() {
  const bool nothingToDo =
      m_Database.Checkpoint(Database::Checkpointing::k_Passive) && m_Database.LogPages() == 0;
  if (!nothingToDo && !m_Database.Checkpoint(Database::Checkpointing::k_Whole))
    throw StoreFailure("Another program holds the database; end it, or try again when it is done",
                       StoreFailure::Kind::k_Busy);
}

Statement& SqliteStore::Prepared(const char* sql) {
  auto& statement = m_Statements[sql];
  if (!statement)
    statement = std::make_unique<Statement>(m_Database.Handle(), sql);
  return *statement;
}

void SqliteStore::Begin() {
  KeepLogShort(1000);
  Prepared("BEGIN IMMEDIATE").Run();
}

/// Before a transaction and not after one, so that what fails concerns nothing that was committed.
void SqliteStore::KeepLogShort(size_t pagesBetween) {
  constexpr size_t k_Most = 1024 * 1024 * 1024 / 4096; // pages
  const size_t pages = m_Database.LogPages();
  if (pages < m_CheckpointAt)
    m_CheckpointAt = 0; // it began anew
  if (pages - m_CheckpointAt < pagesBetween && pages <= k_Most)
    return;
  const bool whole = m_Database.Checkpoint(Database::Checkpointing::k_Passive);
  m_CheckpointAt = pages; // not after a failure, so that the next round tries again
  if (!whole && pages > k_Most)
    throw StoreFailure("Another program reads the database, whose log has reached 1 GiB meanwhile",
                       StoreFailure::Kind::k_Busy);
}

bool SqliteStore::Finish() {
  m_Database.Hurry();
  return m_Database.Checkpoint(Database::Checkpointing::k_Whole);
}

void SqliteStore::Commit() {
  Prepared("COMMIT").Run();
}

} // namespace brenic::master
