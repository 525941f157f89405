#include "brenic/Application.h"

#include "rlib/Log.h"

namespace brenic {

namespace {

Application* s_Application = nullptr;

} // namespace

Application::Application() {
  s_Application = this;
}

Application::~Application() {
  if (s_Application == this)
    s_Application = nullptr;
}

Application* Application::Instance() {
  return s_Application;
}

void Application::SetLogDir(CommandLine& cmd) {
  const String folder = cmd.GetArgument("LogFolder", 0, k_Empty);
  m_LogFolder = folder.empty() ? rlib::Log::DefaultFolder() : Path(folder);
  if (folder.empty() && cmd.HasSwitch("LogFolder"))
    rlib::Report(rlib::Log::k_Error, "-LogFolder names no folder; " + m_LogFolder.str() + " is used");
}

} // namespace brenic
