// The tables, as docs/storage.md explains them.
#pragma once

namespace brenic::master {

class Database;

/// Notes that the database has this layout, and in application_id which version of the program made it so:
/// an earlier one says then which it takes. Both stay where they are in every later layout.
void SetLayout(Database& database);

inline constexpr int k_Layout = 4; // in user_version

/// Times are milliseconds since 1970-01-01 UTC.
inline constexpr const char* k_CredentialTables = R"(
CREATE TABLE master (
  id BLOB NOT NULL, name TEXT NOT NULL, address TEXT NOT NULL,
  server_certificate TEXT NOT NULL, server_key TEXT NOT NULL, server_authority INTEGER NOT NULL);
CREATE TABLE authority (
  number INTEGER PRIMARY KEY AUTOINCREMENT, certificate TEXT NOT NULL, key TEXT NOT NULL);
CREATE TABLE client (
  serial TEXT PRIMARY KEY, name TEXT NOT NULL,
  role TEXT NOT NULL CHECK (role IN ('administrator', 'component')),
  authority INTEGER NOT NULL, issued INTEGER, expires INTEGER, revoked INTEGER,
  last_seen INTEGER, last_address TEXT, last_program TEXT, last_version INTEGER) WITHOUT ROWID;
CREATE INDEX client_name ON client (name);
CREATE TABLE clock (only INTEGER PRIMARY KEY CHECK (only = 1), trusted INTEGER NOT NULL,
  doubted INTEGER, doubted_until INTEGER);
)";

/// What a database of layout 1 has as well.
inline constexpr const char* k_SettingsTables = R"(
CREATE TABLE type_limit (type BLOB PRIMARY KEY, workers INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE restriction (name TEXT PRIMARY KEY) WITHOUT ROWID;
CREATE TABLE path_translations (only INTEGER PRIMARY KEY CHECK (only = 1), list BLOB NOT NULL);
)";

/// With row numbers, so that values are not in the way where names are looked for.
inline constexpr const char* k_OptionTable = R"(
CREATE TABLE option (
  section BLOB NOT NULL, name TEXT NOT NULL COLLATE NOCASE, value TEXT NOT NULL,
  PRIMARY KEY (section, name));
)";

inline constexpr const char* k_ProductTables = R"(
CREATE TABLE document (digest BLOB PRIMARY KEY, document TEXT NOT NULL);
CREATE TABLE product (
  type BLOB NOT NULL, origin TEXT NOT NULL CHECK (origin IN ('default', 'custom', 'removed')),
  digest BLOB, PRIMARY KEY (type, origin));
CREATE TABLE change_document (digest BLOB NOT NULL, sequence INTEGER NOT NULL, PRIMARY KEY (digest, sequence))
  WITHOUT ROWID;
)";

inline constexpr const char* k_AuditTable = R"(
CREATE TABLE audit (
  sequence INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL,
  client_key TEXT NOT NULL, client_id TEXT NOT NULL, client_name TEXT NOT NULL, client_role TEXT NOT NULL,
  client_kind INTEGER NOT NULL, client_address TEXT NOT NULL,
  message_id BLOB NOT NULL, class TEXT NOT NULL, digest BLOB NOT NULL, fields TEXT NOT NULL,
  result TEXT NOT NULL CHECK (result IN ('committed', 'refused', 'answered')), reason TEXT NOT NULL,
  run TEXT NOT NULL, size INTEGER NOT NULL DEFAULT 0, request BLOB, change BLOB);
CREATE UNIQUE INDEX audit_message ON audit (client_key, message_id) WHERE result <> 'answered';
CREATE INDEX audit_time ON audit (time);
)";

/// Only in a database that was restored and not accepted since: a mark that is copied with the file.
inline constexpr const char* k_NotAcceptedTable = "CREATE TABLE not_accepted (only INTEGER PRIMARY KEY);";

inline constexpr const char* k_AllTables[] = {k_CredentialTables, k_SettingsTables, k_OptionTable,
                                              k_ProductTables, k_AuditTable};

} // namespace brenic::master
