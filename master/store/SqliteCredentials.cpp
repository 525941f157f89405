// The part of the store that holds the Master, its authorities and its clients' certificates.
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"

namespace brenic::master {

namespace {

constexpr const char* k_InsertAuthority = "INSERT INTO authority (certificate, key) VALUES (?,?)";
constexpr const char* k_InsertClient =
    "INSERT INTO client (serial, name, role, authority, issued, expires, revoked) "
    "VALUES (?,?,?,?,?,?,?)";
constexpr const char* k_AllOfClient =
    "SELECT serial, name, role, authority, issued, expires, revoked, last_seen, "
    "last_address, last_program, last_version FROM client ";

std::optional<int64_t> Time(const Statement& row, int column) {
  return row.IsNull(column) ? std::nullopt : std::optional(row.Integer(column));
}

ClientRecord ClientOf(const Statement& row) {
  ClientRecord client{row.Text(0),  row.Text(1),  RoleOf(row.Text(2)), row.Integer(3),
                      Time(row, 4), Time(row, 5), Time(row, 6),        {}};
  if (!row.IsNull(7))
    client.m_LastSeen = ClientRecord::Sighting{row.Integer(7), row.Text(8), row.Text(9),
                                               static_cast<uint32_t>(row.Integer(10))};
  return client;
}

std::vector<ClientRecord> AllOf(Statement& rows) {
  std::vector<ClientRecord> clients;
  while (rows.Step())
    clients.push_back(ClientOf(rows));
  return clients;
}

} // namespace

std::string MasterRecord::TrustedCertificates() const {
  std::string certificates;
  for (const Authority& authority : m_Authorities)
    certificates += authority.m_Credential.m_Certificate;
  return certificates;
}

void SqliteStore::InsertCredentials(sqlite3* database, const MasterRecord& master,
                                    const ClientRecord& client) {
  Statement(database, "INSERT INTO master VALUES (?,?,?,?,?,1)")
      .Run(master.m_ID, master.m_Name, master.m_Address, master.m_Server.m_Certificate,
           master.m_Server.m_Key);
  Statement(database, k_InsertAuthority).Run(master.m_Authority.m_Certificate, master.m_Authority.m_Key);
  Statement(database, k_InsertClient)
      .Run(client.m_Serial, client.m_Name, RoleName(client.m_Role), client.m_Authority, client.m_Issued,
           client.m_Expires, client.m_Revoked);
}

MasterRecord SqliteStore::LoadMaster() {
  Statement row(m_Database.Handle(),
                "SELECT id, name, address, server_certificate, server_key, server_authority FROM master");
  if (!row.Step())
    throw StoreFailure("The database holds no Master");
  MasterRecord master;
  master.m_ID = wire::Identifier(row.Text(0));
  master.m_Name = row.Text(1);
  master.m_Address = row.Text(2);
  master.m_Server = {row.Text(3), row.Text(4)};
  master.m_ServerAuthority = row.Integer(5);
  Statement authority(m_Database.Handle(), "SELECT number, certificate, key FROM authority ORDER BY number");
  while (authority.Step())
    master.m_Authorities.push_back({authority.Integer(0), {authority.Text(1), authority.Text(2)}});
  if (master.m_Authorities.empty())
    throw StoreFailure("The database holds no certificate authority");
  master.m_Authority = master.m_Authorities.back().m_Credential;
  return master;
}

void SqliteStore::Rename(const String& name) {
  Prepared("UPDATE master SET name = ?").Run(name);
}

bool SqliteStore::IsAccepted() {
  return master::IsAccepted(m_Database);
}

void SqliteStore::Accept() {
  m_Database.Execute("DROP TABLE not_accepted");
}

bool IsAccepted(Database& database) {
  return database.Scalar("SELECT count(*) FROM sqlite_schema WHERE name = 'not_accepted'") == "0";
}

void WaitForAcceptance(Database& database) {
  if (IsAccepted(database))
    database.Execute(k_NotAcceptedTable);
}

void SqliteStore::ReplaceServerCredential(const Credential& credential, int64_t authority) {
  Prepared("UPDATE master SET server_certificate = ?, server_key = ?, server_authority = ?")
      .Run(credential.m_Certificate, credential.m_Key, authority);
}

void SqliteStore::SetAddress(const String& address) {
  Prepared("UPDATE master SET address = ?").Run(address);
}

int64_t SqliteStore::AddAuthority(const Credential& authority) {
  Prepared(k_InsertAuthority).Run(authority.m_Certificate, authority.m_Key);
  return sqlite3_last_insert_rowid(m_Database.Handle());
}

void SqliteStore::SetAuthorityKey(int64_t number, const std::string& key) {
  Prepared("UPDATE authority SET key = ? WHERE number = ?").Run(key, number);
}

void SqliteStore::RemoveAuthority(int64_t number) {
  Prepared("DELETE FROM authority WHERE number = ?").Run(number);
}

void SqliteStore::AddClient(const ClientRecord& client) {
  Prepared(k_InsertClient)
      .Run(client.m_Serial, client.m_Name, RoleName(client.m_Role), client.m_Authority, client.m_Issued,
           client.m_Expires, client.m_Revoked);
}

std::optional<ClientRecord> SqliteStore::FindClient(const std::string& serial) {
  static const std::string s_Sql = std::string(k_AllOfClient) + "WHERE serial = ?";
  const std::vector<ClientRecord> found = AllOf(Prepared(s_Sql.c_str()).Bind(serial));
  return found.empty() ? std::nullopt : std::optional(found.front());
}

std::vector<ClientRecord> SqliteStore::Clients() {
  static const std::string s_Sql = std::string(k_AllOfClient) + "ORDER BY name, issued, serial";
  return AllOf(Prepared(s_Sql.c_str()).Bind());
}

std::vector<ClientRecord> SqliteStore::ClientsNamed(const String& name) {
  static const std::string s_Sql = std::string(k_AllOfClient) + "WHERE name = ? ORDER BY issued, serial";
  return AllOf(Prepared(s_Sql.c_str()).Bind(name));
}

void SqliteStore::ReplaceClient(const ClientRecord& client) {
  Prepared("UPDATE client SET name = ?, role = ?, authority = ?, issued = ?, expires = ?, revoked = ? "
           "WHERE serial = ?")
      .Run(client.m_Name, RoleName(client.m_Role), client.m_Authority, client.m_Issued, client.m_Expires,
           client.m_Revoked, client.m_Serial);
}

void SqliteStore::SetLastSeen(const std::string& serial, const ClientRecord::Sighting& seen) {
  Prepared("UPDATE client SET last_seen = ?, last_address = ?, last_program = ?, last_version = ? "
           "WHERE serial = ?")
      .Run(seen.m_Time, seen.m_Address, seen.m_Program, static_cast<int64_t>(seen.m_Version), serial);
}

std::optional<ClockRecord> SqliteStore::LoadClock() {
  Statement& row = Prepared("SELECT trusted, doubted, doubted_until FROM clock").Bind();
  std::optional<ClockRecord> clock;
  while (row.Step()) {
    clock = ClockRecord{row.Integer(0)};
    if (!row.IsNull(1))
      clock->m_Doubt = {row.Integer(1), row.Integer(2)};
  }
  return clock;
}

void SqliteStore::SetClock(const ClockRecord& clock) {
  std::optional<int64_t> doubted, until;
  if (clock.m_Doubt) {
    doubted = clock.m_Doubt->m_Wall;
    until = clock.m_Doubt->m_Until;
  }
  Prepared("INSERT OR REPLACE INTO clock VALUES (1,?,?,?)").Run(clock.m_Trusted, doubted, until);
}

std::optional<int64_t> SqliteStore::TimeOfLastRecord() {
  Statement& row = Prepared("SELECT time FROM audit ORDER BY sequence DESC LIMIT 1").Bind();
  std::optional<int64_t> time;
  while (row.Step())
    time = row.Integer(0);
  return time;
}

} // namespace brenic::master
