#include "serve/MachineCommands.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <fmt/core.h>

#include "rlib/Log.h"

extern char** environ;

namespace brenic::master {

namespace {

/// 0 when it cannot be started, which is logged.
pid_t Spawn(const String& line) {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addclosefrom_np(&files, 3);
  // The command is to find signals as a shell expects them, and to outlive the Master.
  sigset_t all, none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  const char* arguments[] = {"sh", "-c", line.c_str(), nullptr};
  pid_t child = 0;
  const int error =
      posix_spawn(&child, "/bin/sh", &files, &attributes, const_cast<char**>(arguments), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  if (error == 0)
    return child;
  rlib::LogError(fmt::format("Cannot run '{}': {}", line.str(), rlib::ErrorText(error).str()));
  return 0;
}

} // namespace

MachineCommands::MachineCommands(asio::io_context& io, MachineCommandLines lines)
    : m_Io(io), m_Lines(std::move(lines)), m_ChildSignal(io, SIGCHLD) {
  WatchChildren();
}

void MachineCommands::WatchChildren() {
  m_ChildSignal.async_wait([this](const error_code& cancelled, int) {
    if (cancelled)
      return;
    Reap();
    if (!m_Finished) // it may have come just before it was cancelled
      WatchChildren();
  });
}

void MachineCommands::Accept(uint64_t session, const MachineMsg& message) {
  const auto timer = std::make_shared<asio::steady_timer>(m_Io, k_DrainWithin);
  m_Waiting.push_back(
      {session, message.m_Command == MachineMsg::k_Reboot ? m_Lines.m_Reboot : m_Lines.m_Shutdown, timer});
  timer->async_wait([this, session](const error_code& cancelled) {
    if (!cancelled)
      SessionClosed(session);
  });
}

void MachineCommands::SessionClosed(uint64_t session) {
  for (Waiting& waiting : m_Waiting) {
    if (waiting.m_Session == session)
      waiting.m_Timer->cancel();
  }
  std::erase_if(m_Waiting, [&](const Waiting& waiting) {
    if (waiting.m_Session != session)
      return false;
    m_Due.push_back(waiting.m_Line);
    return true;
  });
  RunNext();
}

void MachineCommands::Finish() {
  while (!m_Waiting.empty())
    SessionClosed(m_Waiting.front().m_Session);
  for (; !m_Due.empty(); m_Due.pop_front())
    Spawn(m_Due.front());
  m_Finished = true;
  m_ChildSignal.cancel();
}

void MachineCommands::RunNext() {
  if (m_Running != 0 || m_Due.empty())
    return;
  m_RunningLine = m_Due.front();
  m_Due.pop_front();
  rlib::LogSystem("Running '" + m_RunningLine + "'");
  m_Running = Spawn(m_RunningLine);
  if (m_Running == 0)
    RunNext();
}

void MachineCommands::Reap() {
  int status = 0;
  if (m_Running == 0 || waitpid(m_Running, &status, WNOHANG) != m_Running)
    return;
  const std::string how = WIFEXITED(status) ? fmt::format("ended with {}", WEXITSTATUS(status))
                                            : fmt::format("was ended by signal {}", WTERMSIG(status));
  rlib::LogSystem(fmt::format("'{}' {}", m_RunningLine.str(), how));
  m_Running = 0;
  RunNext();
}

} // namespace brenic::master
