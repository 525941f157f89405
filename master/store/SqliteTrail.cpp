// The part of the store that shows the audit trail to the rules.
#include <limits>

#include "products/ProductDocument.h"
#include "store/ChangeBytes.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

using Loaded = rlib::Result<std::shared_ptr<const Change>>;

/// What `load` returns. A damaged record is for the one who wants it; all else ends the transaction.
Loaded Guarded(const std::function<std::shared_ptr<const Change>()>& load) {
  try {
    return load();
  } catch (const StoreFailure& failure) {
    if (failure.Which() != StoreFailure::Kind::k_DamagedRecord)
      throw;
    return rlib::Failure(failure.what());
  }
}

/// Which entries it concerns, and its lists.
std::shared_ptr<const Change> WithoutDocuments(const std::string& bytes) {
  return std::make_shared<const Change>(DecodeChange(bytes, [](const std::string&) { return nullptr; }));
}

/// Those whose bytes are wanted.
void ReadBack(Database& database, int64_t beyond, bool (*isWanted)(const std::string& bytes),
              const std::function<bool(const TrailRecord&)>& each) {
  constexpr size_t k_PageRecords = 1000;
  constexpr size_t k_PageBytes = 4 * 1024 * 1024;
  Statement row(database.Handle(),
                "SELECT sequence, change, time, client_name, class FROM audit WHERE sequence > ? "
                "AND sequence <= ? AND result = 'committed' AND change IS NOT NULL ORDER BY sequence DESC");
  bool hasMore = true;
  for (int64_t next = std::numeric_limits<int64_t>::max(); hasMore;) {
    std::vector<TrailRecord> page;
    size_t bytes = 0;
    row.Bind(beyond, next);
    while (page.size() < k_PageRecords && bytes < k_PageBytes && (hasMore = row.Step())) {
      next = row.Integer(0) - 1;
      std::string change = row.Text(1);
      if (!isWanted(change))
        continue;
      bytes += change.size();
      page.push_back(
          {row.Integer(0), row.Integer(2), row.Text(3), row.Text(4), "committed", false,
           [change = std::move(change)] { return Guarded([&] { return WithoutDocuments(change); }); }});
    }
    for (const TrailRecord& record : page) {
      if (!each(record))
        return;
    }
  }
}

} // namespace

Trail::Range SqliteStore::SequenceRange() {
  Range range;
  for (Statement row(m_Database.Handle(), "SELECT min(sequence) FROM audit"); row.Step();)
    range.m_Oldest = row.Integer(0);
  for (Statement row(m_Database.Handle(), "SELECT seq FROM sqlite_sequence WHERE name = 'audit'");
       row.Step();)
    range.m_Newest = row.Integer(0);
  return range;
}

std::optional<TrailRecord> SqliteStore::FindRecord(int64_t sequence) {
  Statement& row = Prepared("SELECT time, client_name, class, result, fields <> '', change IS NOT NULL "
                            "FROM audit WHERE sequence = ?")
                       .Bind(sequence);
  std::optional<TrailRecord> record;
  while (row.Step()) {
    record =
        TrailRecord{sequence, row.Integer(0), row.Text(1), row.Text(2), row.Text(3), row.Integer(4) != 0, {}};
    if (row.Integer(5) != 0)
      record->m_Load = [this, sequence] { return LoadChangeOf(sequence); };
  }
  return record;
}

Loaded SqliteStore::LoadChangeOf(int64_t sequence) {
  Statement& row = Prepared("SELECT change FROM audit WHERE sequence = ?").Bind(sequence);
  std::string bytes;
  while (row.Step())
    bytes = row.Text(0);
  return Guarded([&] { return LoadChange(bytes); });
}

void SqliteStore::ReadChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) {
  ReadBack(
      m_Database, beyond, [](const std::string&) { return true; }, each);
}

void SqliteStore::ReadListChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) {
  ReadBack(m_Database, beyond, MayHoldLists, each);
}

void SqliteStore::ReadDocuments(const std::function<void(const Product&)>& each) {
  Statement row(m_Database.Handle(), "SELECT document FROM document");
  while (row.Step()) {
    if (const auto product = ParseCheckedProduct(row.Text(0)))
      each(**product);
  }
}

} // namespace brenic::master
