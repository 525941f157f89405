// The part of the store that lets old records leave the audit trail.
#include <vector>

#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

/// Of records with a time in the future so many are looked through for an older one behind them.
constexpr int64_t k_MostLookedAt = 10'000;

/// Fewer than a round's: what leaves touches many pages, and a request may wait for the checkpoint.
constexpr size_t k_PagesBetweenCheckpoints = 100;

} // namespace

std::optional<std::pair<int64_t, int64_t>> SqliteStore::NewestAudit() {
  Statement& row = Prepared("SELECT sequence, time FROM audit ORDER BY sequence DESC LIMIT 1").Bind();
  std::optional<std::pair<int64_t, int64_t>> newest;
  while (row.Step())
    newest = {row.Integer(0), row.Integer(1)};
  return newest;
}

std::optional<int64_t> SqliteStore::FirstAudit(int64_t from, int64_t to) {
  Statement& row = Prepared("SELECT min(sequence) FROM audit WHERE time BETWEEN ? AND ?").Bind(from, to);
  std::optional<int64_t> first;
  while (row.Step()) {
    if (!row.IsNull(0))
      first = row.Integer(0);
  }
  return first;
}

void SqliteStore::AtOnce(const std::function<void()>& work) {
  m_Database.SetPatient(false);
  try {
    KeepLogShort(k_PagesBetweenCheckpoints);
    Prepared("BEGIN IMMEDIATE").Run();
    work();
    Commit();
  } catch (...) {
    Rollback();
    m_Database.SetPatient(true);
    throw;
  }
  m_Database.SetPatient(true);
}

AuditRemoval SqliteStore::RemoveAudit(const AuditPiece& piece) {
  std::vector<std::pair<int64_t, int64_t>> within; // the limits: sequences and times
  size_t leaving = 0;                              // of them
  size_t bytes = 0;
  const auto isEnough = [&] { return within.size() >= piece.m_Records || bytes >= piece.m_Bytes; };
  {
    Statement& row =
        Prepared("SELECT sequence, time, length(request), length(change), length(fields) FROM audit "
                 "WHERE sequence <= ? ORDER BY sequence LIMIT ?")
            .Bind(piece.m_Last, k_MostLookedAt);
    while (row.Step()) {
      const int64_t time = row.Integer(1);
      const bool isOld = time < piece.m_Before;
      if (!isOld && time <= piece.m_Now)
        break;
      if (!isEnough()) {
        within.emplace_back(row.Integer(0), time);
        bytes += static_cast<size_t>(row.Integer(2) + row.Integer(3) + row.Integer(4));
      }
      if (isOld)
        leaving = within.size();
      if (isOld && isEnough())
        break;
    }
    row.Bind(0, 0); // a statement that is open would keep the log from being written into the database
  }
  AuditRemoval removal;
  if (leaving == 0)
    return removal;
  AtOnce([&] {
    for (size_t at = 0; at != leaving && (at == 0 || piece.m_GoOn()); ++at) {
      Prepared("DELETE FROM audit WHERE sequence = ?").Run(within[at].first);
      removal.m_Records = at + 1;
      if (within[at].second < piece.m_Before)
        removal.m_UpTo = within[at].second;
    }
  });
  return removal;
}

std::optional<DocumentMark> SqliteStore::RemoveDocuments(const DocumentMark& from, size_t most,
                                                         const std::function<bool()>& goOn) {
  // The records that are there have no lower sequence.
  Statement& row = Prepared("SELECT digest, sequence, sequence < coalesce((SELECT min(sequence) FROM audit), "
                            "9223372036854775807) FROM change_document "
                            "WHERE (digest, sequence) > (?, ?) ORDER BY digest, sequence LIMIT ?")
                       .Bind(Blob{from.m_Digest}, from.m_Sequence, static_cast<int64_t>(most));
  std::optional<DocumentMark> last;
  std::vector<DocumentMark> leaving;
  while (row.Step()) {
    last = {row.Text(0), row.Integer(1)};
    if (row.Integer(2) != 0)
      leaving.push_back(*last);
  }
  if (leaving.empty())
    return last;
  AtOnce([&] {
    for (const DocumentMark& mark : leaving) {
      Prepared("DELETE FROM change_document WHERE digest = ? AND sequence = ?")
          .Run(Blob{mark.m_Digest}, mark.m_Sequence);
      Prepared("DELETE FROM document WHERE digest = ?1 "
               "AND NOT EXISTS (SELECT 1 FROM change_document WHERE digest = ?1) "
               "AND NOT EXISTS (SELECT 1 FROM product WHERE digest = ?1)")
          .Run(Blob{mark.m_Digest});
      if (goOn())
        continue;
      last = mark;
      break;
    }
  });
  return last;
}

} // namespace brenic::master
