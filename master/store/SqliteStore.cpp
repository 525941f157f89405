#include "store/SqliteStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <fmt/core.h>

#include "store/SqliteSchema.h"
#include "wire/Contents.h"

namespace brenic::master {

namespace {

constexpr const char* k_SetDurability =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;";

/// Whoever changes these settings would make "committed" mean less than it says.
void CheckDurability(Database& database) {
  const std::string journal = database.Scalar("PRAGMA journal_mode");
  const std::string synchronous = database.Scalar("PRAGMA synchronous");
  if (journal != "wal" || synchronous != "2")
    throw StoreFailure(fmt::format("The database does not keep its promises: journal mode {}, synchronous {}",
                                   journal, synchronous));
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
  Database database(file, Database::Mode::ReadWrite);
  database.Execute(k_SetDurability);
  database.Execute("BEGIN IMMEDIATE");
  database.Execute(k_Schema);
  database.Execute(fmt::format("PRAGMA user_version = {}", k_SchemaVersion).c_str());
  Statement(database.Handle(), "INSERT INTO master VALUES (?,?,?,?,?,?)")
      .Run(master.m_ID, master.m_Name, master.m_Authority.m_Certificate, master.m_Authority.m_Key,
           master.m_Server.m_Certificate, master.m_Server.m_Key);
  Statement(database.Handle(), "INSERT INTO client VALUES (?,?,?)")
      .Run(firstClient.m_Serial, firstClient.m_Name, RoleName(firstClient.m_Role));
  database.Execute("COMMIT");
}

SqliteStore::SqliteStore(const Path& dataFolder, Database::Mode mode) : m_Database(File(dataFolder), mode) {
  if (mode != Database::Mode::ReadOnly) {
    m_Database.Execute(k_SetDurability);
    CheckDurability(m_Database);
  }
  const std::string version = m_Database.Scalar("PRAGMA user_version");
  if (version != std::to_string(k_SchemaVersion))
    throw StoreFailure(
        fmt::format("The database has version {}, this program reads version {}", version, k_SchemaVersion));
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

void SqliteStore::Record(const AuditRecord& record) {
  Prepared("INSERT INTO audit (time, client_key, client_id, client_name, client_role, client_kind, "
           "client_address, message_id, class, digest, fields, result, reason, run) "
           "VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)")
      .Run(record.m_Time, record.m_ClientKey, record.m_ClientId, record.m_ClientName, RoleName(record.m_Role),
           static_cast<int64_t>(record.m_Kind), record.m_Address, record.m_MessageId, record.m_Class,
           Blob{record.m_Digest}, record.m_Fields, record.m_Result, record.m_Reason, record.m_Run);
}

std::optional<AuditRecord> SqliteStore::FindDecision(const std::string& clientKey, const UID& messageId) {
  // The condition on the result lets the partial index be used.
  Statement& row = Prepared("SELECT class, digest, result, reason, run FROM audit "
                            "WHERE client_key = ? AND message_id = ? AND result <> 'answered'")
                       .Bind(clientKey, messageId);
  std::optional<AuditRecord> record;
  while (row.Step()) {
    record.emplace();
    record->m_Class = row.Text(0);
    record->m_Digest = row.Text(1);
    record->m_Result = row.Text(2);
    record->m_Reason = row.Text(3);
    record->m_Run = row.Text(4);
  }
  return record;
}

void SqliteStore::ReadAudit(int64_t since, const std::function<void(const AuditRecord&)>& each) {
  Statement row(m_Database.Handle(),
                "SELECT sequence, time, client_key, client_id, client_name, client_role, client_kind, "
                "client_address, message_id, class, digest, fields, result, reason, run FROM audit "
                "WHERE time >= ? ORDER BY sequence");
  row.Bind(since);
  while (row.Step()) {
    AuditRecord record;
    record.m_Sequence = row.Integer(0);
    record.m_Time = row.Integer(1);
    record.m_ClientKey = row.Text(2);
    record.m_ClientId = row.Text(3);
    record.m_ClientName = row.Text(4);
    record.m_Role = RoleOf(row.Text(5));
    record.m_Kind = static_cast<uint32_t>(row.Integer(6));
    record.m_Address = row.Text(7);
    record.m_MessageId = wire::Identifier(row.Text(8));
    record.m_Class = row.Text(9);
    record.m_Digest = row.Text(10);
    record.m_Fields = row.Text(11);
    record.m_Result = row.Text(12);
    record.m_Reason = row.Text(13);
    record.m_Run = row.Text(14);
    each(record);
  }
}

} // namespace brenic::master
