// How old records leave the audit trail.
#pragma once

#include <chrono>
#include <deque>

#include "store/Store.h"

namespace brenic::master {

struct KeepingOptions {
  static constexpr int k_Days = 400;
  static constexpr int k_LeastDays = 2;

  int m_Days = k_Days;
  /// Milliseconds since 1970-01-01 UTC; nothing while the clock is not to be trusted, so that nothing leaves.
  /// Called on the writer's thread.
  std::function<std::optional<int64_t>()> m_Wall = [] { return rlib::Time::Now().Milliseconds(); };
};

/// Lets the oldest records leave, and the documents that only they referred to, in pieces that are shorter
/// than a commit. What was recorded in the last 24 h stays, whatever the clock says: that long after a start
/// by what the trail itself says, from then on by the time that has passed. Used on one thread, the writer's.
/// Throws StoreFailure for a broken store only.
class AuditKeeping {
public:
  using Clock = std::chrono::steady_clock;

  AuditKeeping(Store& store, KeepingOptions options);
  ~AuditKeeping() { Tell(); }
  AuditKeeping(const AuditKeeping&) = delete;
  AuditKeeping& operator=(const AuditKeeping&) = delete;

  /// It looks at once what that means.
  void SetDays(int days);

  /// When Work wants to be called, if nothing else is to be done until then.
  Clock::time_point Due(Clock::time_point now) const;
  /// A piece while nobody waits. It ends early when `goOn` becomes false.
  void Work(Clock::time_point now, const std::function<bool()>& goOn);
  /// To be called behind each round: a smaller piece behind some of them, so that a Master that is never idle
  /// gets on as well.
  void AfterRound(Clock::time_point now);

private:
  enum class Stage { k_Resting, k_Records, k_Documents };

  void Piece(Clock::time_point now, size_t records, const std::function<bool()>& goOn);
  void Look(Clock::time_point now);
  bool RemoveRecords(size_t records, const std::function<bool()>& goOn);
  void Rest(Clock::time_point until);
  void Tell();

  Store& m_Store;
  KeepingOptions m_Options;

  Stage m_Stage = Stage::k_Resting;
  Clock::time_point m_NextLook;  // while it rests
  Clock::time_point m_NextPiece; // while it does not
  size_t m_RoundsSincePiece = 0;
  DocumentMark m_Documents; // in that stage
  int64_t m_MayLeave = 0;   // sequence; older than 24 h
  /// The highest sequences, and when they were the highest. The first at the start: what was older than 24 h
  /// then.
  std::deque<std::pair<Clock::time_point, int64_t>> m_Highest;

  // Since it was last told.
  size_t m_Left = 0;
  int64_t m_UpTo = 0;
};

} // namespace brenic::master
