#include "serve/Reloader.h"

#include <ctime>

#include <systemd/sd-daemon.h>

#include <fmt/core.h>

#include "rlib/Escape.h"
#include "rlib/Log.h"

namespace brenic::master {

namespace {

void TellThatItBegins() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t microseconds =
      static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
  sd_notify(0, fmt::format("RELOADING=1\nMONOTONIC_USEC={}", microseconds).c_str());
}

} // namespace

Reloader::Reloader(asio::io_context& io, MasterConfiguration settings, Load load, Writer& writer,
                   MachineCommands& machine, Places& places)
    : m_Io(io), m_Signal(io), m_Settings(std::move(settings)), m_Load(std::move(load)), m_Writer(writer),
      m_Machine(machine), m_Places(places) {}

void Reloader::At(int signal) {
  m_Signal.add(signal);
  Watch();
}

void Reloader::Close() {
  m_Closed = true;
  m_Signal.cancel(); // the signal still does nothing else
}

void Reloader::Watch() {
  m_Signal.async_wait([this](const error_code& cancelled, int) {
    if (cancelled || m_Closed) // it may have come just before it was cancelled
      return;
    Watch();
    Begin();
  });
}

void Reloader::Begin() {
  if (std::exchange(m_IsUnderWay, true)) {
    m_Again = true;
    return;
  }
  TellThatItBegins();
  if (const auto begun = TryToBegin(); !begun)
    End(begun);
}

rlib::Result<> Reloader::TryToBegin() {
  // First of all: whatever the configuration holds, the log's file may have been moved aside.
  if (auto reopened = TakeLevels(m_Settings.m_Live); !reopened)
    return reopened;
  try {
    m_Next = m_Load();
  } catch (Exception* error) {
    const String reason = error->Message();
    delete error;
    return rlib::Failure(reason);
  }
  if (auto succession = CheckSuccession(m_Settings, m_Next); !succession)
    return succession;
  // Before the writer's part: going back to what was is easy here.
  if (auto taken = TakeLevels(m_Next.m_Live); !taken)
    return taken;
  m_Writer.Reload(m_Next.m_Live.m_Commands, m_Next.m_Live.m_Products, [this](const rlib::Result<>& taken) {
    asio::post(m_Io, [this, taken] {
      if (taken)
        TakeAll();
      else
        static_cast<void>(TakeLevels(m_Settings.m_Live));
      End(taken);
    });
  });
  return {};
}

rlib::Result<> Reloader::TakeLevels(const LiveSettings& settings) {
  return rlib::Log::Reopen(settings.m_LogFileLevel, settings.m_LogDisplayLevel);
}

void Reloader::TakeAll() {
  if (m_Next.m_Live.m_AuditKeep < m_Settings.m_Live.m_AuditKeep)
    rlib::LogWarning(
        fmt::format("AuditKeep was {} days and is {} now: older records leave the audit trail for good",
                    m_Settings.m_Live.m_AuditKeep, m_Next.m_Live.m_AuditKeep));
  m_Settings.m_Live = m_Next.m_Live;
  m_Settings.m_Names = m_Next.m_Names;
  m_Machine.Take(m_Settings.m_Live.m_Commands);
  m_Places.Limit(m_Settings.m_Live.m_ConnectionsPerCertificate);
  m_Writer.SetAuditKeep(m_Settings.m_Live.m_AuditKeep);
  if (const String names = Differences(m_Settings.m_Start, m_Next.m_Start); !names.empty())
    rlib::LogWarning("The configuration has changes that only a new start of the Master takes: " + names);
}

void Reloader::End(const rlib::Result<>& taken) {
  const String status =
      taken ? String("The configuration was read anew")
            : "The configuration is not taken, and all settings stay as they were: " + taken.Reason();
  if (taken)
    rlib::LogSystem(status);
  else if (m_Settings.m_Live.m_LogDisplayLevel >= rlib::Log::k_Error)
    rlib::LogError(status); // which shows it
  else
    rlib::Report(rlib::Log::k_Error, status);
  if (m_Closed)
    return; // systemd was told that the Master ends
  sd_notify(0, ("READY=1\nSTATUS=" + rlib::EscapeControls(status)).c_str());
  m_IsUnderWay = false;
  if (std::exchange(m_Again, false))
    Begin();
}

} // namespace brenic::master
