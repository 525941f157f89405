// The part of the store that holds the audit trail.
#include <limits>

#include "store/ChangeBytes.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

void SqliteStore::Record(const AuditRecord& record) {
  std::string change;
  if (record.m_Change)
    change = EncodeChange(*record.m_Change);
  Prepared("INSERT INTO audit (time, client_key, client_id, client_name, client_role, client_kind, "
           "client_address, message_id, class, digest, fields, result, reason, run, size, request, change) "
           "VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)")
      .Run(record.m_Time, record.m_ClientKey, record.m_ClientId, record.m_ClientName, RoleName(record.m_Role),
           static_cast<int64_t>(record.m_Kind), record.m_Address, record.m_MessageId, record.m_Class,
           Blob{record.m_Digest}, record.m_FieldsOfLayout1, record.m_Result, record.m_Reason, record.m_Run,
           static_cast<int64_t>(record.m_Size), OptionalBlob{record.m_Request.get()},
           OptionalBlob{record.m_Change ? &change : nullptr});
  if (!record.m_Change)
    return;
  const int64_t sequence = sqlite3_last_insert_rowid(m_Database.Handle());
  for (const auto* products : {&record.m_Change->m_Products, &record.m_Change->m_Defaults}) {
    for (const auto& [type, step] : *products) {
      for (const auto& state : {step.m_Before, step.m_After}) {
        if (state && state->m_Installed)
          Prepared("INSERT OR IGNORE INTO change_document VALUES (?,?)")
              .Run(Blob{KeepDocument(*state->m_Installed)}, sequence);
      }
    }
  }
}

std::optional<AuditRecord> SqliteStore::FindDecision(const std::string& clientKey, const UID& messageId) {
  // The condition on the result lets the partial index be used.
  Statement& row = Prepared("SELECT class, digest, result, reason, run, fields FROM audit "
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
    record->m_FieldsOfLayout1 = row.Text(5);
  }
  return record;
}

namespace {

constexpr char k_AuditColumns[] =
    "SELECT sequence, time, client_key, client_id, client_name, client_role, client_kind, client_address, "
    "message_id, class, digest, fields, result, reason, run, size, request, change FROM audit ";

/// Most records that are read at once. They are read before any is given out: as long as a statement is open,
/// the log cannot be written into the database.
constexpr size_t k_PageRecords = 1000;
constexpr size_t k_PageBytes = 4 * 1024 * 1024;

} // namespace

std::optional<int64_t> SqliteStore::FirstSince(int64_t since) {
  if (since <= 0)
    return 0;
  Statement first(m_Database.Handle(), "SELECT min(sequence) FROM audit WHERE time >= ?");
  first.Bind(since);
  std::optional<int64_t> sequence;
  while (first.Step())
    if (!first.IsNull(0))
      sequence = first.Integer(0);
  return sequence;
}

void SqliteStore::ReadAudit(int64_t since, const std::function<void(const AuditRecord&)>& each) {
  const auto first = FirstSince(since);
  for (int64_t next = first.value_or(0); first;) {
    // The plus keeps SQLite from going by time, which the clock may have turned back.
    Statement row(m_Database.Handle(),
                  std::string(k_AuditColumns) + "WHERE sequence >= ? AND +time >= ? ORDER BY sequence");
    row.Bind(next, since);
    const std::vector<AuditRecord> page = ReadAuditPage(row);
    if (page.empty())
      return;
    for (const AuditRecord& record : page)
      each(record);
    next = page.back().m_Sequence + 1;
  }
}

void SqliteStore::ReadHistory(int64_t since, const std::function<bool(const AuditRecord&)>& each) {
  const auto first = FirstSince(since);
  for (int64_t next = std::numeric_limits<int64_t>::max(); first;) {
    Statement row(m_Database.Handle(),
                  std::string(k_AuditColumns) +
                      "WHERE sequence >= ? AND sequence <= ? AND +time >= ? AND result = 'committed' "
                      "AND (change IS NOT NULL OR fields <> '' OR reason <> '') ORDER BY sequence DESC");
    row.Bind(*first, next, since);
    const std::vector<AuditRecord> page = ReadAuditPage(row);
    if (page.empty())
      return;
    for (const AuditRecord& record : page) {
      if (!each(record))
        return;
    }
    next = page.back().m_Sequence - 1;
  }
}

std::vector<AuditRecord> SqliteStore::ReadAuditPage(Statement& row) {
  std::vector<AuditRecord> page;
  size_t bytes = 0;
  while (page.size() < k_PageRecords && bytes < k_PageBytes && row.Step()) {
    AuditRecord& record = page.emplace_back();
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
    record.m_FieldsOfLayout1 = row.Text(11);
    record.m_Result = row.Text(12);
    record.m_Reason = row.Text(13);
    record.m_Run = row.Text(14);
    record.m_Size = static_cast<size_t>(row.Integer(15));
    if (!row.IsNull(16))
      record.m_Request = std::make_shared<const std::string>(row.Text(16));
    if (!row.IsNull(17)) {
      record.m_LoadChange = [this, change = row.Text(17)] { return LoadChange(change); };
      bytes += row.Text(17).size();
    }
    bytes += record.m_FieldsOfLayout1.size() + (record.m_Request ? record.m_Request->size() : 0);
  }
  return page;
}

std::shared_ptr<const Change> SqliteStore::LoadChange(const std::string& bytes) {
  Change change = DecodeChange(bytes, [this](const std::string& digest) { return LoadDocument(digest); });
  if (change.IsEmpty())
    throw StoreFailure("A change in the audit trail holds nothing that this program knows",
                       StoreFailure::Kind::k_DamagedRecord);
  return std::make_shared<const Change>(std::move(change));
}

} // namespace brenic::master
