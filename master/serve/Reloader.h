// Reads the configuration anew while the Master serves.
#pragma once

#include <boost/asio/signal_set.hpp>

#include "serve/MachineCommands.h"
#include "serve/MasterConfiguration.h"
#include "serve/Places.h"
#include "serve/Writer.h"

namespace brenic::master {

/// Opens the log anew and takes the live settings of the configuration, all of them or none. Why it takes
/// none is reported, and settings that only hold from the next start on are named in a warning. systemd is
/// told when it begins and when it is done. What it changes outlives it. I/O thread.
class Reloader {
public:
  using Load = std::function<MasterConfiguration()>;

  /// `load` reads the configuration; it throws Exception* when it cannot. `settings` are those of the start.
  Reloader(asio::io_context& io, MasterConfiguration settings, Load load, Writer& writer,
           MachineCommands& machine, Places& places);

  /// Does it at each of these signals from now on. One that comes while it is at it makes it begin again.
  void At(int signal);
  /// Begins no more.
  void Close();

private:
  void Watch();
  void Begin();
  rlib::Result<> TryToBegin();
  void End(const rlib::Result<>& taken);
  void TakeAll();
  rlib::Result<> TakeLevels(const LiveSettings& settings);

  asio::io_context& m_Io;
  asio::signal_set m_Signal;
  MasterConfiguration m_Settings; // as they are in force
  MasterConfiguration m_Next;     // while it is at it
  const Load m_Load;
  Writer& m_Writer;
  MachineCommands& m_Machine;
  Places& m_Places;
  bool m_IsUnderWay = false;
  bool m_Again = false;
  bool m_Closed = false;
};

} // namespace brenic::master
