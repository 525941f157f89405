// The store in one SQLite file.
#pragma once

#include <map>

#include "store/Sqlite.h"
#include "store/Store.h"

namespace brenic::master {

class SqliteStore : public Store {
public:
  /// The database of a data folder.
  static Path File(const Path& dataFolder);

  /// Makes a database; fails when there is a file of that name, be it a symbolic link.
  static void Create(const Path& file, const MasterRecord& master, const ClientRecord& firstClient);

  /// What becomes of a database of an earlier layout: a copy is kept beside it (LayoutBackup.h), which is
  /// told; or none, where it is a copy itself.
  enum class Earlier { k_Keep, k_Leave };
  /// Brings a database of an earlier layout to this one, in one transaction: when it fails, the database is
  /// as it was. Does nothing to one of this layout. Throws StoreFailure.
  static void BringToThisLayout(const Path& dataFolder, Earlier earlier = Earlier::k_Keep);

  /// Opens an existing database of this layout and checks that commits are durable. To be written, it is
  /// first made durable as far as it was recovered, but beside a Master that serves it, which has done that
  /// and must not wait.
  SqliteStore(const Path& dataFolder, Database::Mode mode, bool isBesideServer = false);

  MasterRecord LoadMaster() override;
  void Rename(const String& name) override;
  bool IsAccepted() override;
  void Accept() override;
  void ReplaceServerCredential(const Credential& credential, int64_t authority) override;
  void SetAddress(const String& address) override;
  int64_t AddAuthority(const Credential& authority) override;
  void SetAuthorityKey(int64_t number, const std::string& key) override;
  void RemoveAuthority(int64_t number) override;
  Farm LoadFarm() override;
  void AddClient(const ClientRecord& client) override;
  std::optional<ClientRecord> FindClient(const std::string& serial) override;
  std::vector<ClientRecord> Clients() override;
  std::vector<ClientRecord> ClientsNamed(const String& name) override;
  void ReplaceClient(const ClientRecord& client) override;
  void SetLastSeen(const std::string& serial, const ClientRecord::Sighting& seen) override;
  std::optional<ClockRecord> LoadClock() override;
  void SetClock(const ClockRecord& clock) override;
  std::optional<int64_t> TimeOfLastRecord() override;
  void Hurry() override { m_Database.Hurry(); }
  bool Finish() override;
  void Begin() override;
  void Commit() override;
  void Rollback() override { m_Database.Rollback(); }
  void Apply(const Change& change) override;
  void Record(const AuditRecord& record) override;
  std::optional<AuditRecord> FindDecision(const std::string& clientKey, const UID& messageId) override;
  void ReadAudit(int64_t since, const std::function<void(const AuditRecord&)>& each) override;
  std::optional<std::pair<int64_t, int64_t>> NewestAudit() override;
  std::optional<int64_t> FirstAudit(int64_t from, int64_t to) override;
  AuditRemoval RemoveAudit(const AuditPiece& piece) override;
  std::optional<DocumentMark> RemoveDocuments(const DocumentMark& from, size_t most,
                                              const std::function<bool()>& goOn) override;
  void ReadHistory(int64_t since, const std::function<bool(const AuditRecord&)>& each) override;
  void ReadDocuments(const std::function<void(const Product&)>& each) override;
  Range SequenceRange() override;
  std::optional<TrailRecord> FindRecord(int64_t sequence) override;
  void ReadChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) override;
  void ReadListChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) override;

  Database& Connection() { return m_Database; }

private:
  /// Prepared once per text, which must be a literal.
  Statement& Prepared(const char* sql);
  static void InsertCredentials(sqlite3* database, const MasterRecord& master, const ClientRecord& client);
  void MakeDurable();
  /// Pages are of 4 KiB.
  void KeepLogShort(size_t pagesBetween);
  /// Runs `work` in a transaction of its own that waits for no other program.
  void AtOnce(const std::function<void()>& work);
  void ApplyOption(const OptionChange& change);
  void ApplyUserLimits(const UserLimitsChange& change);
  void ApplyTranslations(const ListDifference<TranslationSet>& change);
  void ApplyProducts(const Change& change);
  /// Keeps the document, if it is not there already, and returns its digest.
  std::string KeepDocument(const Product& product);
  /// A sequence from which on all records that are not older stand; none when there are none.
  std::optional<int64_t> FirstSince(int64_t since);
  /// Of the rows of a query for k_AuditColumns, as many as one page has.
  std::vector<AuditRecord> ReadAuditPage(Statement& row);
  std::shared_ptr<const Change> LoadChange(const std::string& bytes);
  rlib::Result<std::shared_ptr<const Change>> LoadChangeOf(int64_t sequence);
  shared_ptr<const Product> LoadDocument(const std::string& digest);

  Database m_Database;
  size_t m_CheckpointAt = 0; // pages of the log at the last checkpoint
  std::map<const char*, std::unique_ptr<Statement>> m_Statements;
};

/// Whether a Master with this database, of any layout, may serve: see Store::IsAccepted. Throws StoreFailure.
bool IsAccepted(Database& database);
/// The command that brings this database, of an earlier layout, to this one: one that waits to be accepted is
/// not served. Throws StoreFailure.
const char* WhatBringsToThisLayout(Database& database);
/// From now on it may not.
void WaitForAcceptance(Database& database);

} // namespace brenic::master
