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

TrustedClock::TrustedClock(Clocks clocks, std::optional<int64_t> known)
    : m_Clocks(std::move(clocks)), m_Believed(m_Clocks.m_Wall()), m_At(m_Clocks.m_Running()) {
  const int64_t wall = m_Believed;
  if (!known || IsWithin(wall - *known, k_LongestRest))
    return;
  m_Believed = *known;
  m_Slack = k_LongestRest;
  Doubt(fmt::format("The clock says {}, but the newest record is of {}", Shown(wall), Shown(*known)));
}

void TrustedClock::Doubt(const String& why) {
  m_DoubtUntil = m_At + k_Day;
  m_News = why +
           ": for a day nothing is deleted, renewed or dropped because of the time. Set the clock if it "
           "is wrong; if it is right, nothing is to be done";
}

void TrustedClock::Follow() {
  m_Believed = m_Clocks.m_Wall();
  m_At = m_Clocks.m_Running();
  m_DoubtUntil.reset();
  m_Slack = k_Hour;
}

void TrustedClock::Look() {
  const int64_t wall = m_Clocks.m_Wall();
  const int64_t running = m_Clocks.m_Running();
  const int64_t believed = m_Believed + (running - m_At);
  const bool agrees = m_DoubtUntil ? IsWithin(wall - believed, m_Slack) : std::abs(wall - believed) <= k_Hour;
  if (m_DoubtUntil && (agrees || running >= *m_DoubtUntil)) {
    m_News = fmt::format("The clock, which says {}, is followed again", Shown(wall));
    return Follow();
  }
  if (!m_DoubtUntil && agrees)
    return Follow();
  m_Believed = believed;
  m_At = running;
  if (!m_DoubtUntil)
    Doubt(fmt::format("The clock was set from {} to {}", Shown(believed), Shown(wall)));
}

int64_t TrustedClock::Now() {
  std::lock_guard lock(m_Mutex);
  Look();
  return m_Believed;
}

bool TrustedClock::IsInDoubt() {
  std::lock_guard lock(m_Mutex);
  Look();
  return m_DoubtUntil.has_value();
}

std::optional<String> TrustedClock::News() {
  std::lock_guard lock(m_Mutex);
  Look();
  return std::exchange(m_News, std::nullopt);
}

ClockRecord TrustedClock::Record() {
  std::lock_guard lock(m_Mutex);
  Look();
  return {m_Believed, m_DoubtUntil.has_value()};
}

std::shared_ptr<TrustedClock> ClockOf(Store& store) {
  return std::make_shared<TrustedClock>(Clocks::OfTheMachine(),
                                        TrustedClock::KnownFrom(store.LoadClock(), store.TimeOfLastRecord()));
}

std::optional<int64_t> TrustedClock::KnownFrom(const std::optional<ClockRecord>& kept,
                                               std::optional<int64_t> lastRecord) {
  if (!kept)
    return lastRecord;
  // The times of records that were written while the clock was in doubt are its own.
  if (kept->m_IsInDoubt || !lastRecord)
    return kept->m_Trusted;
  return std::max(kept->m_Trusted, *lastRecord);
}

} // namespace brenic::master
