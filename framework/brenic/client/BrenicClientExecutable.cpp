#include "brenic/BrenicClientExecutable.h"

#include <poll.h>
#include <unistd.h>

#include <fmt/core.h>
#include <openssl/ssl.h>

#include "client/Client.h"
#include "client/ClientContext.h"
#include "client/Connectors.h"
#include "client/OwnCertificate.h"
#include "client/Target.h"
#include "rlib/CrashHandler.h"
#include "rlib/Log.h"
#include "rlib/Number.h"

namespace brenic {

namespace {

constexpr std::chrono::milliseconds k_PassTime{250};

int LogLevel(const CommandLine& cmd, const char* name, int fallback) {
  if (!cmd.HasSwitch(name))
    return fallback;
  const String text = cmd.GetArgument(name, 0, k_Empty);
  const std::optional<int32_t> level = rlib::ParseInt32(text);
  if (level && *level >= rlib::Log::k_Nothing && *level <= rlib::Log::k_Trace)
    return *level;
  rlib::Report(rlib::Log::k_Error,
               fmt::format("-{} '{}' is not a level from 0 to 6; {} is used", name, text.str(), fallback));
  return fallback;
}

/// Where the log cannot be in `folder`, it is in the usual one, which then stands there.
void OpenLog(const CommandLine& cmd, const String& program, Path& folder) {
  const int file = LogLevel(cmd, "LogFileLevel", rlib::Log::k_DefaultFileLevel);
  const int display = LogLevel(cmd, "LogDisplayLevel", rlib::Log::k_DefaultDisplayLevel);
  const rlib::Result<> opened = rlib::Log::Open(program, folder, file, display);
  if (!opened) {
    const Path refused = std::exchange(folder, rlib::Log::DefaultFolder());
    const bool elsewhere = folder != refused && rlib::Log::Open(program, folder, file, display);
    rlib::Report(rlib::Log::k_Error, elsewhere ? opened.Reason() + "; the log is in '" + folder.str() + "'"
                                               : "There will be no log file: " + opened.Reason());
  }
  rlib::InstallCrashHandler(folder, program);
}

/// Into the log, and before a user who is there to read it: what scripts take from stdErr is not changed by
/// the date.
void WarnOfEnd(asio::ssl::context& tls, const Path& file) {
  const X509* const certificate = SSL_CTX_get0_certificate(tls.native_handle());
  const std::optional<String> warning = EndsSoon(certificate, file, std::time(nullptr));
  if (!warning)
    return;
  if (isatty(STDERR_FILENO))
    rlib::Report(rlib::Log::k_Warning, *warning);
  else
    rlib::LogWarning(*warning);
}

/// Begins to connect in the background, unless it is not clear how.
rlib::Result<> Connect(const CommandLine& cmd, BrenicClientApp& app, Executable& executable) {
  const rlib::Result<Target> target = Target::Choose(cmd);
  if (!target)
    return target.Why();
  MasterConnection::Timing timing;
  timing.m_Restore = target->m_RestoreTimeout.value_or(timing.m_Restore);
  const auto start = [&](const Client::MakeConnector& makeConnector) {
    Client::Instance().Start(app, executable, app.GetClientName(), target->m_ConnectTimeout, makeConnector,
                             timing);
  };
  if (target->m_Endpoint.IsLocal()) {
    start([&](asio::io_context& io) { return MakeLocalConnector(io, target->m_Endpoint); });
    return {};
  }
  rlib::Result<asio::ssl::context> tls = MakeClientContext(target->m_Credentials);
  if (!tls)
    return tls.Why();
  WarnOfEnd(*tls, target->m_Credentials.m_Certificate);
  start([&](asio::io_context& io) { return MakeTlsConnector(io, target->m_Endpoint, std::move(*tls)); });
  return {};
}

} // namespace

bool BrenicClientExecutable::Startup(CommandLine& cmd) {
  SetLogDir(cmd);
  OpenLog(cmd, ProgramName(), m_LogFolder);

  const rlib::Result<> connecting = Connect(cmd, *this, *this);
  if (!connecting) {
    Note(k_ExitNoConnection);
    rlib::Report(rlib::Log::k_Error, connecting.Reason());
  }
  return static_cast<bool>(connecting);
}

int BrenicClientExecutable::Execute() {
  return Client::Instance().Pass(k_PassTime) ? 1 : 0;
}

void BrenicClientExecutable::OnInterrupt() {
  // Nothing here may wait for another thread, nor for a full pipe.
  static constexpr char k_Line[] = "Interrupted\n";
  pollfd out{STDERR_FILENO, POLLOUT, 0};
  if (poll(&out, 1, 0) == 1)
    (void)!write(STDERR_FILENO, k_Line, sizeof k_Line - 1);
  _exit(k_ExitInterrupted);
}

} // namespace brenic
