#include "store/SqliteStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <fmt/core.h>

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
  throw StoreFailure(
      layout < k_Layout
          ? fmt::format("The database has layout {}; 'brenic-master serve' brings it to layout {}, which "
                        "this program reads",
                        layout, k_Layout)
          : fmt::format("The database has layout {}, made by a newer brenic-master; this one reads "
                        "layout {}",
                        layout, k_Layout));
}

} // namespace

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
  SetDurability(database);
  database.Execute("BEGIN IMMEDIATE");
  for (const char* tables : {k_SettingsTables, k_ProductTables, k_AuditTable})
    database.Execute(tables);
  database.Execute(fmt::format("PRAGMA user_version = {}", k_Layout).c_str());
  Statement(database.Handle(), "INSERT INTO master VALUES (?,?,?,?,?,?)")
      .Run(master.m_ID, master.m_Name, master.m_Authority.m_Certificate, master.m_Authority.m_Key,
           master.m_Server.m_Certificate, master.m_Server.m_Key);
  Statement(database.Handle(), "INSERT INTO client VALUES (?,?,?)")
      .Run(firstClient.m_Serial, firstClient.m_Name, RoleName(firstClient.m_Role));
  database.Execute("COMMIT");
}

SqliteStore::SqliteStore(const Path& dataFolder, Database::Mode mode) : m_Database(File(dataFolder), mode) {
  if (mode != Database::Mode::k_ReadOnly)
    SetDurability(m_Database);
  CheckLayout(m_Database);
}

Statement& SqliteStore::Prepared(const char* sql) {
  auto& statement = m_Statements[sql];
  if (!statement)
    statement = std::make_unique<Statement>(m_Database.Handle(), sql);
  return *statement;
}

MasterRecord SqliteStore::LoadMaster() {
  Statement row(m_Database.Handle(), "SELECT * FROM master");
  if (!row.Step())
    throw StoreFailure("The database holds no Master");
  return {wire::Identifier(row.Text(0)), row.Text(1), {row.Text(2), row.Text(3)}, {row.Text(4), row.Text(5)}};
}

void SqliteStore::ReplaceServerCredential(const Credential& credential) {
  Prepared("UPDATE master SET server_certificate = ?, server_key = ?")
      .Run(credential.m_Certificate, credential.m_Key);
}

void SqliteStore::AddClient(const ClientRecord& client) {
  Prepared("INSERT INTO client VALUES (?,?,?)").Run(client.m_Serial, client.m_Name, RoleName(client.m_Role));
}

std::optional<ClientRecord> SqliteStore::FindClient(const std::string& serial) {
  Statement& row = Prepared("SELECT name, role FROM client WHERE serial = ?").Bind(serial);
  std::optional<ClientRecord> client;
  while (row.Step())
    client = ClientRecord{serial, row.Text(0), RoleOf(row.Text(1))};
  return client;
}

void SqliteStore::Begin() {
  Prepared("BEGIN IMMEDIATE").Run();
}

void SqliteStore::Commit() {
  Prepared("COMMIT").Run();
}

} // namespace brenic::master
