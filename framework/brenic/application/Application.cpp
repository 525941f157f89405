#include "brenic/Application.h"

#include "rlib/Log.h"

namespace brenic {

namespace {

Application* s_Instance = nullptr;

} // namespace

Application::Application() {
  s_Instance = this;
}

Application::~Application() {
  if (s_Instance == this)
    s_Instance = nullptr;
}

Application* Application::Instance() {
  return s_Instance;
}

void Application::SetLogDir(CommandLine& cmd) {
  const String folder = cmd.GetArgument("LogFolder", 0, k_Empty);
  m_LogFolder = folder.empty() ? rlib::Log::DefaultFolder() : Path(folder);
  if (folder.empty() && cmd.HasSwitch("LogFolder"))
    rlib::Report(rlib::Log::k_Error, "-LogFolder names no folder; " + m_LogFolder.str() + " is used");
}

} // namespace brenic
