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
  constexpr size_t k_PageRecords = 1000;
  constexpr size_t k_PageBytes = 4 * 1024 * 1024;
  Statement row(m_Database.Handle(),
                "SELECT sequence, time, client_name, class, change FROM audit WHERE sequence > ? "
                "AND sequence <= ? AND result = 'committed' AND change IS NOT NULL ORDER BY sequence DESC");
  for (int64_t next = std::numeric_limits<int64_t>::max();;) {
    std::vector<TrailRecord> page;
    size_t bytes = 0;
    row.Bind(beyond, next);
    while (page.size() < k_PageRecords && bytes < k_PageBytes && row.Step()) {
      std::string change = row.Text(4);
      bytes += change.size();
      page.push_back(
          {row.Integer(0), row.Integer(1), row.Text(2), row.Text(3), "committed", false,
           [change = std::move(change)] { return Guarded([&] { return WithoutDocuments(change); }); }});
    }
    if (page.empty())
      return;
    for (const TrailRecord& record : page) {
      if (!each(record))
        return;
    }
    next = page.back().m_Sequence - 1;
  }
}

void SqliteStore::ReadDocuments(const std::function<void(const Product&)>& each) {
  Statement row(m_Database.Handle(), "SELECT document FROM document");
  while (row.Step()) {
    if (const auto product = ParseCheckedProduct(row.Text(0)))
      each(**product);
  }
}

} // namespace brenic::master
