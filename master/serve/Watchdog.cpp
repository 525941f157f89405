#include "serve/Watchdog.h"

#include <algorithm>

#include <systemd/sd-daemon.h>

#include <fmt/core.h>

#include "rlib/Log.h"

namespace brenic::master {

bool Pulse::Look() {
  const uint64_t steps = m_Writer.Steps();
  if (m_Steps == steps)
    return ++m_Silent < m_Patience;
  m_Steps = steps;
  m_Silent = 0;
  m_Writer.Do([] {});
  return true;
}

void Watchdog::Start() {
  uint64_t microseconds = 0;
  if (sd_watchdog_enabled(0, &microseconds) <= 0)
    return;
  // Often enough that one late look is no harm.
  m_Interval = std::chrono::microseconds(std::max<uint64_t>(microseconds / 4, 1000));
  m_Pulse.emplace(m_Writer, static_cast<size_t>(k_Patience / m_Interval) + 1);
  Tick();
}

void Watchdog::Tick() {
  const bool isAlive = m_Pulse->Look();
  if (isAlive)
    sd_notify(0, "WATCHDOG=1");
  else if (m_WasAlive)
    rlib::LogError(
        fmt::format("The writer has got nothing done for {} minutes, so the watchdog is to end the "
                    "Master",
                    k_Patience.count()));
  m_WasAlive = isAlive;
  m_Timer.expires_after(m_Interval);
  m_Timer.async_wait([this](const error_code& cancelled) {
    if (!cancelled && !m_Closed) // it may have run out just before it was cancelled
      Tick();
  });
}

} // namespace brenic::master
