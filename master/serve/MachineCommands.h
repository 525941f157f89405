// Runs the commands that reboot or shut down the machine.
#pragma once

#include <deque>

#include <boost/asio/signal_set.hpp>

#include "brenic/SystemMessages.h"
#include "farm/Judgement.h"
#include "net/Asio.h"

namespace brenic::master {

/// I/O thread. Commands run one after the other, in the order in which they became due; each becomes due when
/// its session has closed, or k_DrainWithin after it was accepted.
class MachineCommands {
public:
  static constexpr std::chrono::seconds k_DrainWithin{5};

  MachineCommands(asio::io_context& io, MachineCommandLines lines);

  /// For what is accepted from now on.
  void Take(MachineCommandLines lines) { m_Lines = std::move(lines); }
  void Accept(uint64_t session, const MachineMsg& message);
  void SessionClosed(uint64_t session);
  /// Everything accepted becomes due now; does not wait for the end of the commands.
  void Finish();

private:
  struct Waiting {
    uint64_t m_Session;
    String m_Line;
    std::shared_ptr<asio::steady_timer> m_Timer;
  };

  void WatchChildren();
  void RunNext();
  void Reap();

  asio::io_context& m_Io;
  MachineCommandLines m_Lines;
  asio::signal_set m_ChildSignal;
  std::deque<Waiting> m_Waiting;
  std::deque<String> m_Due;
  pid_t m_Running = 0;
  String m_RunningLine;
  bool m_Finished = false;
};

} // namespace brenic::master
