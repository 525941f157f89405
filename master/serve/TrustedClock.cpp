#include "serve/TrustedClock.h"

#include <cstdlib>
#include <ctime>

#include <fmt/core.h>

namespace brenic::master {

namespace {

int64_t Read(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

constexpr char k_WhatToDo[] = "Set the clock if it is wrong; if it is right, nothing is to be done";

/// Whether a clock that is ahead of what is believed by so much may be right. A minute behind, it was
/// adjusted.
bool IsWithin(int64_t ahead, int64_t slack) {
  constexpr int64_t k_Adjusted = 60 * 1000;
  return ahead >= -k_Adjusted && ahead <= slack;
}

std::string Shown(int64_t time) {
  return Time(time).Format(rlib::k_DefaultDateTime).str() + " UTC";
}

} // namespace

Clocks Clocks::OfTheMachine() {
  return {[] { return Read(CLOCK_REALTIME); }, [] { return Read(CLOCK_BOOTTIME); }};
}

TrustedClock::TrustedClock(Clocks clocks, const std::optional<ClockRecord>& known)
    : m_Clocks(std::move(clocks)), m_Believed(m_Clocks.m_Wall()), m_At(m_Clocks.m_Running()) {
  if (known)
    Begin(*known, m_Believed);
}

void TrustedClock::Begin(const ClockRecord& known, int64_t wall) {
  const auto& doubt = known.m_Doubt;
  if (doubt && IsWithin(wall - doubt->m_Wall, k_LongestRest))
    return GoOnDoubting(known, wall);
  if (IsWithin(wall - known.m_Trusted, k_LongestRest))
    return;
  m_Believed = known.m_Trusted;
  m_Slack = k_LongestRest;
  Doubt(wall,
        fmt::format("The clock says {}, but the newest record is of {}", Shown(wall), Shown(m_Believed)));
}

/// It has not been set since an earlier process doubted it, so it tells how long nobody looked.
void TrustedClock::GoOnDoubting(const ClockRecord& known, int64_t wall) {
  const int64_t rest = std::max<int64_t>(wall - known.m_Doubt->m_Wall, 0);
  m_Believed = known.m_Trusted + rest;
  m_Slack = k_LongestRest; // it may have stood still
  m_Doubted = {wall - m_Believed, known.m_Doubt->m_Until};
  if (m_Believed >= m_Doubted->m_Until)
    return FollowAgain();
  m_News = fmt::format("The clock says {}, and was in doubt before this start already; {} is believed. Until "
                       "its day is over nothing is deleted, renewed or dropped because of the time. {}",
                       Shown(wall), Shown(m_Believed), k_WhatToDo);
}

void TrustedClock::Doubt(int64_t wall, const String& why) {
  m_Doubted = {wall - m_Believed, m_Believed + k_Day};
  m_News = why + ": for a day nothing is deleted, renewed or dropped because of the time. " + k_WhatToDo;
}

void TrustedClock::Follow() {
  m_Believed = m_Clocks.m_Wall();
  m_At = m_Clocks.m_Running();
  m_Doubted.reset();
  m_Slack = k_Hour;
}

void TrustedClock::FollowAgain() {
  Follow();
  m_News = fmt::format("The clock, which says {}, is followed again", Shown(m_Believed));
}

void TrustedClock::Look() {
  const int64_t wall = m_Clocks.m_Wall();
  const int64_t running = m_Clocks.m_Running();
  const int64_t believed = m_Believed + (running - m_At);
  const int64_t ahead = wall - believed;
  const bool wasSet = std::abs(ahead - (m_Doubted ? m_Doubted->m_Ahead : 0)) > k_Hour;
  if (!m_Doubted && !wasSet)
    return Follow();
  m_Believed = believed;
  m_At = running;
  if (m_Doubted &&
      (IsWithin(ahead, wasSet ? m_Slack : k_Hour) || (!wasSet && believed >= m_Doubted->m_Until)))
    return FollowAgain();
  if (wasSet)
    return Doubt(wall, fmt::format("The clock was set from {} to {}",
                                   Shown(believed + (m_Doubted ? m_Doubted->m_Ahead : 0)), Shown(wall)));
  m_Doubted->m_Ahead = ahead; // it may be slewed
}

Moment TrustedClock::Present() {
  std::lock_guard lock(m_Mutex);
  Look();
  return {m_Believed, m_Believed + (m_Doubted ? m_Doubted->m_Ahead : 0), m_Doubted.has_value()};
}

std::optional<String> TrustedClock::News() {
  std::lock_guard lock(m_Mutex);
  Look();
  return std::exchange(m_News, std::nullopt);
}

ClockRecord TrustedClock::Record() {
  std::lock_guard lock(m_Mutex);
  Look();
  ClockRecord record{m_Believed};
  if (m_Doubted)
    record.m_Doubt = {m_Believed + m_Doubted->m_Ahead, m_Doubted->m_Until};
  return record;
}

std::shared_ptr<TrustedClock> ClockOf(Store& store) {
  return std::make_shared<TrustedClock>(Clocks::OfTheMachine(),
                                        TrustedClock::KnownFrom(store.LoadClock(), store.TimeOfLastRecord()));
}

std::optional<ClockRecord> TrustedClock::KnownFrom(const std::optional<ClockRecord>& kept,
                                                   std::optional<int64_t> lastRecord) {
  if (!kept)
    return lastRecord ? std::optional(ClockRecord{*lastRecord}) : std::nullopt;
  // What is known of the time is kept once an hour. The time of a record that is later still is that of a
  // clock that was in doubt, and may have been put right since.
  constexpr int64_t k_BetweenKeepings = 2 * k_Hour;
  ClockRecord known = *kept;
  if (!known.m_Doubt && lastRecord && *lastRecord <= known.m_Trusted + k_BetweenKeepings)
    known.m_Trusted = std::max(known.m_Trusted, *lastRecord);
  return known;
}

} // namespace brenic::master
