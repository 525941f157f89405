#include "manage/CommandLine.h"

#include "Release.h"
#include "brenic/ExitStatus.h"
#include "rlib/Escape.h"
#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

namespace brenic::master {

namespace {

int Guarded(const CommandLine::Command& command) {
  String problem;
  try {
    const int status = command();
    return rlib::AnyFailureNoted() ? k_ExitFailed : status;
  } catch (Exception* error) {
    problem = error->Message();
    delete error;
  } catch (const std::exception& error) {
    problem = error.what();
  }
  rlib::stdErr.PutLine(rlib::JournalPriority(rlib::Log::k_Error) + ("brenic-master: " + problem));
  return k_ExitFailed;
}

/// What is said of wrong options: it quotes them.
std::string AboutOptions(const CLI::App* app, const CLI::Error& error) {
  return CLI::FailureMessage::simple(
      app,
      CLI::Error(error.get_name(), rlib::EscapeControls(String(error.what())).str(), error.get_exit_code()));
}

} // namespace

CommandLine::CommandLine(const char* description) : m_App(description) {
  m_App.set_version_flag("--version", "brenic-master " + rlib::VER_STRING(k_Version).str());
  m_App.failure_message(AboutOptions);
  m_App.require_subcommand(1);
}

CLI::App& CommandLine::Add(const char* name, const char* description, Command command, CLI::App* parent) {
  CLI::App* const sub = (parent ? *parent : m_App).add_subcommand(name, description);
  if (command)
    sub->callback([this, command = std::move(command)] { m_Status = Guarded(command); });
  return *sub;
}

CLI::App& CommandLine::AddOnFolder(const char* name, const char* description,
                                   std::function<void(const Path& folder)> command) {
  const auto folder = std::make_shared<std::string>();
  CLI::App& sub = Add(name, description, [folder, command = std::move(command)] {
    command(Path(*folder));
    return k_ExitDone;
  });
  sub.add_option("--data-dir", *folder, "folder that holds everything of the Master")->required();
  return sub;
}

int CommandLine::Run(int argc, char** argv) {
  CLI11_PARSE(m_App, argc, argv);
  return m_Status;
}

void Tell(const String& line) {
  rlib::stdOut.PutLine(rlib::EscapeControls(line));
}

} // namespace brenic::master
