#include "brenic/Executable.h"

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "application/Interrupt.h"
#include "brenic/Application.h"
#include "brenic/ConnectionEnded.h"
#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

namespace brenic {

namespace {

Executable* s_Executable = nullptr;

String BaseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// A file or socket opened later must not become standard output. Reading only: writing still fails.
void OccupyStandardDescriptors() {
  for (int fd = 0; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1)
      (void)!open("/dev/null", O_RDONLY);
  }
}

} // namespace

Executable::Executable() {
  s_Executable = this;
}

Executable::~Executable() {
  if (s_Executable == this)
    s_Executable = nullptr;
}

Executable* Executable::Instance() {
  return s_Executable;
}

void Executable::OnInterrupt() {
  Signal(SIGINT);
}

void Executable::ThreadException(Thread*) {
  rlib::LogError("A thread ended by an exception");
}

void Executable::Signal(int) {
  m_EndRequested = true;
  std::lock_guard lock(m_WakeMutex);
  if (m_Wake)
    m_Wake();
}

void Executable::Stop() {
  Signal(0);
}

void Executable::SetWake(std::function<void()> wake) {
  std::lock_guard lock(m_WakeMutex);
  m_Wake = std::move(wake);
}

int Executable::Start(int argc, char** argv) {
  OccupyStandardDescriptors();
  // A closed pipe, and a file that may not grow further, show as failed writes.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  m_CommandLine = CommandLine(argc, argv);
  Application& application = *Application::Instance();
  application.SetProgramName(argc > 0 ? BaseName(argv[0]) : String("brenic"));

  InterruptWatch watch([this] { OnInterrupt(); });
  if (Guarded([&] { return application.Startup(m_CommandLine); }))
    Go();
  rlib::stdOut.Close();
  if (!m_LastLine.empty())
    rlib::Report(rlib::Log::k_Error, m_LastLine);
  rlib::stdErr.Close();
  return Status();
}

void Executable::Go() {
  Application& application = *Application::Instance();
  while (Guarded([&] { return application.Execute() != 0; })) {
  }
  Guarded([&] {
    application.Cleanup();
    return false;
  });
}

bool Executable::Guarded(const std::function<bool()>& call) {
  Application& application = *Application::Instance();
  bool handled = false;
  try {
    return call();
  } catch (ConnectionEnded* ended) {
    rlib::LogInfo(ended->Message());
    delete ended;
    return false;
  } catch (Exception* e) {
    const std::unique_ptr<Exception> owned(e);
    rlib::Report(rlib::Log::k_Error, e->Name() + ": " + e->Message());
    handled = application.OnException(e);
  } catch (const std::exception& e) {
    rlib::LogError(String("Unexpected: ") + e.what());
    handled = application.OnException(nullptr);
  } catch (...) {
    rlib::LogError("Unexpected exception");
    handled = application.OnException(nullptr);
  }
  if (!handled)
    Note(k_ExitFailed);
  return handled;
}

void Executable::Note(ExitStatus status) {
  switch (status) {
  case k_ExitUnknownOutcome:
    m_UnknownOutcome = true;
    break;
  case k_ExitNoConnection:
    m_NoConnection = true;
    break;
  default:
    m_Failed = true;
  }
}

int Executable::Status() const {
  if (m_UnknownOutcome)
    return k_ExitUnknownOutcome;
  if (m_ExitCode != k_ExitDone)
    return m_ExitCode;
  if (m_Failed || rlib::AnyFailureNoted())
    return k_ExitFailed;
  return m_NoConnection ? k_ExitNoConnection : k_ExitDone;
}

} // namespace brenic
