// Tells systemd that the Master is alive.
#pragma once

#include "net/Asio.h"
#include "serve/Writer.h"

namespace brenic::master {

/// Whether the writer's thread still works: it gets something done between two looks, if only the task that
/// the earlier look gave it. One request or one sync may take long on a slow disk, so only many looks in
/// which nothing was done are taken for the end. Looks are counted instead of time, so that a machine that
/// was suspended is not taken for a dead one.
class Pulse {
public:
  Pulse(Writer& writer, size_t patience) : m_Writer(writer), m_Patience(patience) {}

  /// False once the last `patience` looks found nothing done.
  bool Look();

private:
  Writer& m_Writer;
  const size_t m_Patience;
  std::optional<uint64_t> m_Steps;
  size_t m_Silent = 0;
};

/// Pings the watchdog of systemd while the I/O thread and the writer's are alive, if it asked for that
/// (WATCHDOG_USEC). The ping comes from the I/O thread's loop, and stops k_Patience after the last thing that
/// the writer got done. I/O thread.
class Watchdog {
public:
  /// More than any request or sync takes: a million options are decided within a minute on a busy machine,
  /// another program's hold on the database ends after ten, and a full disk refuses at once.
  static constexpr std::chrono::minutes k_Patience{5};

  Watchdog(asio::io_context& io, Writer& writer) : m_Writer(writer), m_Timer(io) {}

  void Start();
  void Close() {
    m_Closed = true;
    m_Timer.cancel();
  }

private:
  void Tick();

  Writer& m_Writer;
  asio::steady_timer m_Timer;
  std::chrono::microseconds m_Interval{};
  std::optional<Pulse> m_Pulse;
  bool m_WasAlive = true;
  bool m_Closed = false;
};

} // namespace brenic::master
