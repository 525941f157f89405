#include "serve/AuditKeeping.h"

#include <algorithm>

#include <fmt/core.h>

#include "rlib/Log.h"

namespace brenic::master {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

// bench/keeping.py measures what these make of a commit.
constexpr size_t k_RecordsWhenIdle = 32;
constexpr size_t k_RecordsAmongRounds = 8;
constexpr size_t k_Bytes = 256 * 1024;
constexpr size_t k_RoundsBetweenPieces = 128;
constexpr milliseconds k_Pause{10}; // without requests, before a piece
constexpr int k_Rest = 20;          // times as long as the piece before took, so that few requests meet one

constexpr size_t k_DocumentsAtOnce = 64;
constexpr hours k_BetweenLooks{1};
constexpr hours k_Remembered{24}; // clients send again for less than that
constexpr int64_t k_Day = 24 * 60 * 60 * 1000;

} // namespace

AuditKeeping::AuditKeeping(Store& store, KeepingOptions options)
    : m_Store(store), m_Options(std::move(options)) {}

void AuditKeeping::SetDays(int days) {
  m_Options.m_Days = days;
  Rest({});
}

AuditKeeping::Clock::time_point AuditKeeping::Due(Clock::time_point now) const {
  return m_Stage == Stage::k_Resting ? std::max(m_NextLook, now) : std::max(m_NextPiece, now + k_Pause);
}

void AuditKeeping::Work(Clock::time_point now, const std::function<bool()>& goOn) {
  const auto began = Clock::now();
  Piece(now, k_RecordsWhenIdle, goOn);
  m_NextPiece = now + k_Rest * (Clock::now() - began);
}

void AuditKeeping::AfterRound(Clock::time_point now) {
  if (++m_RoundsSincePiece >= k_RoundsBetweenPieces)
    Piece(now, k_RecordsAmongRounds, [] { return true; });
}

void AuditKeeping::Piece(Clock::time_point now, size_t records, const std::function<bool()>& goOn) {
  m_RoundsSincePiece = 0;
  try {
    if (m_Stage == Stage::k_Resting && now >= m_NextLook) {
      Look(now);
      m_Stage = Stage::k_Records;
    }
    if (m_Stage == Stage::k_Records && !RemoveRecords(records, goOn)) {
      Tell();
      m_Documents = {};
      m_Stage = Stage::k_Documents;
    } else if (m_Stage == Stage::k_Documents) {
      const auto last = m_Store.RemoveDocuments(m_Documents, k_DocumentsAtOnce, goOn);
      if (!last)
        return Rest(now + k_BetweenLooks);
      m_Documents = *last;
    }
  } catch (const StoreFailure& failure) {
    if (failure.Which() == StoreFailure::Kind::k_Broken)
      throw;
    rlib::LogWarning(fmt::format("Old records stay in the audit trail for now: {}", failure.what()));
    Rest(now + k_BetweenLooks);
  }
}

void AuditKeeping::Rest(Clock::time_point until) {
  m_Stage = Stage::k_Resting;
  m_NextLook = until;
}

/// Finds out what is older than 24 h.
void AuditKeeping::Look(Clock::time_point now) {
  const auto newest = m_Store.NewestAudit();
  if (!newest)
    return;
  const auto& [sequence, time] = *newest;
  if (m_Highest.empty()) {
    const int64_t wall = m_Options.m_Wall().value_or(time);
    const auto recent = m_Store.FirstAudit(std::min(wall, time) - k_Day, std::max(wall, time));
    m_MayLeave = recent.value_or(sequence) - 1;
  }
  m_Highest.emplace_back(now, sequence);
  while (m_Highest.front().first + k_Remembered <= now) {
    m_MayLeave = std::max(m_MayLeave, m_Highest.front().second);
    m_Highest.pop_front();
  }
}

/// False when there are no more that may leave.
bool AuditKeeping::RemoveRecords(size_t records, const std::function<bool()>& goOn) {
  const std::optional<int64_t> wall = m_Options.m_Wall();
  const auto newest = m_Store.NewestAudit();
  if (!wall || !newest)
    return false;
  // By whole days, so that records leave once a day.
  const int64_t keptFrom = (*wall / k_Day - m_Options.m_Days) * k_Day;
  const AuditPiece piece{
      std::min(keptFrom, std::min(*wall, newest->second) - k_Day), *wall, m_MayLeave, records, k_Bytes, goOn};
  const AuditRemoval removal = m_Store.RemoveAudit(piece);
  m_Left += removal.m_Records;
  m_UpTo = std::max(m_UpTo, removal.m_UpTo);
  return removal.m_Records != 0;
}

void AuditKeeping::Tell() {
  if (m_Left == 0)
    return;
  rlib::LogSystem(
      fmt::format("{} records up to {} have left the audit trail, which keeps {} days (AuditKeep); "
                  "what they changed can neither be looked up nor reverted any more",
                  m_Left, rlib::Time(m_UpTo).Format().str(), m_Options.m_Days));
  m_Left = 0;
  m_UpTo = 0;
}

} // namespace brenic::master
