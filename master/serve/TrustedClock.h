// The time by which certificates are judged, though the machine's clock may be wrong.
#pragma once

#include <functional>
#include <mutex>
#include <optional>

#include "store/Store.h"

namespace brenic::master {

/// Where the time comes from, in milliseconds. Any thread.
struct Clocks {
  std::function<int64_t()> m_Wall; // since 1970-01-01 UTC; may be set by anybody
  std::function<int64_t()>
      m_Running; // since some beginning; only ever goes on, also while the machine sleeps

  static Clocks OfTheMachine();
};

/// Follows the machine's clock as long as that goes as time does. When it is stepped by over an hour, or at a
/// start stands before the newest time that is known or 30 days behind it, the time goes on from where it was
/// for a day, in which the clock is in doubt: nothing is deleted, renewed or dropped because of it. After the
/// day, or when the clock has been put right, it is followed again. Between two processes a clock in doubt
/// tells how much of the day has passed, unless it was set meanwhile: each further step begins another day.
/// Any thread.
class TrustedClock {
public:
  static constexpr int64_t k_Hour = 60 * 60 * 1000;
  static constexpr int64_t k_Day = 24 * k_Hour;
  static constexpr int64_t k_LongestRest = 30 * k_Day; // of a Master, that nobody wonders about

  /// `known` is what is known from before, if anything.
  explicit TrustedClock(Clocks clocks = Clocks::OfTheMachine(), const std::optional<ClockRecord>& known = {});

  /// What the machine says.
  int64_t Wall() const { return m_Clocks.m_Wall(); }
  /// Milliseconds since some beginning, for distances.
  int64_t Running() const { return m_Clocks.m_Running(); }
  /// What is believed.
  int64_t Now() { return Present().m_Believed; }
  bool IsInDoubt() { return Present().m_IsInDoubt; }
  Moment Present();
  /// What is to be told: why the clock is in doubt, or that it is not any more. Each once.
  std::optional<String> News();
  /// To be kept for the next start.
  ClockRecord Record();
  /// What is known from before, of what a store keeps.
  static std::optional<ClockRecord> KnownFrom(const std::optional<ClockRecord>& kept,
                                              std::optional<int64_t> lastRecord);

private:
  /// A clock that is not followed.
  struct Doubted {
    int64_t m_Ahead = 0; // of what is believed; less than 0 where it is behind
    int64_t m_Until = 0; // by what is believed
  };

  void Begin(const ClockRecord& known, int64_t wall);
  void Look();
  void Doubt(int64_t wall, const String& why);
  void GoOnDoubting(const ClockRecord& known, int64_t wall);
  void Follow();
  void FollowAgain();

  const Clocks m_Clocks;
  std::mutex m_Mutex;
  int64_t m_Believed = 0; // at m_At
  int64_t m_At = 0;       // of the running clock
  std::optional<Doubted> m_Doubted;
  int64_t m_Slack = k_Hour; // by how much a clock in doubt may be ahead once it is put right
  std::optional<String> m_News;
};

/// The machine's clock, with what the store knows of the time.
std::shared_ptr<TrustedClock> ClockOf(Store& store);

} // namespace brenic::master
