#include "manage/CommandLine.h"

#include <charconv>

#include <fmt/core.h>

#include "Release.h"
#include "brenic/ExitStatus.h"
#include "manage/Words.h"
#include "rlib/Escape.h"
#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

namespace brenic::master {

namespace {

void TellProblem(const String& problem) {
  rlib::stdErr.PutLine(rlib::JournalPriority(rlib::Log::k_Error) + ("brenic-master: " + problem));
}

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
  TellProblem(problem);
  return k_ExitFailed;
}

/// Those that were asked for, as one calls them.
std::string CalledAs(const CLI::App& app) {
  const auto subcommands = app.get_subcommands();
  return subcommands.empty() ? std::string()
                             : " " + subcommands.front()->get_name() + CalledAs(*subcommands.front());
}

/// An operand that is required is told of by what takes it.
void RefuseEmptyValues(CLI::App& app) {
  const CLI::Validator isGiven(
      [](const std::string& value) {
        return value.empty() ? std::string("its value is empty") : std::string();
      },
      "");
  for (CLI::Option* const option : app.get_options()) {
    const bool isRequiredOperand = !option->nonpositional() && option->get_required();
    if (option->get_items_expected_max() > 0 && !isRequiredOperand)
      option->transform(isGiven); // before all other checks
  }
  for (CLI::App* const subcommand : app.get_subcommands([](CLI::App*) { return true; }))
    RefuseEmptyValues(*subcommand);
}

/// "--name=", which would take what follows for its value.
bool IsWithoutValue(std::string_view argument) {
  return argument.size() > 3 && argument.starts_with("--") && argument.find('=') == argument.size() - 1;
}

} // namespace

CommandLine::CommandLine(const char* description) : m_App(description) {
  m_App.set_version_flag("--version", "brenic-master " + rlib::VER_STRING(k_Version).str());
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
  try {
    Parse(argc, argv);
  } catch (const CLI::Success& help) {
    return m_App.exit(help);
  } catch (const CLI::ParseError& error) {
    TellProblem(rlib::EscapeControls(String(error.what())) + "; see brenic-master" + CalledAs(m_App) +
                " --help");
    return error.get_exit_code();
  }
  return m_Status;
}

void CommandLine::Parse(int argc, char** argv) {
  RefuseEmptyValues(m_App);
  for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
    if (const std::string_view argument = argv[i]; IsWithoutValue(argument))
      throw CLI::ValidationError(std::string(argument.substr(0, argument.size() - 1)), "its value is empty");
  }
  m_App.parse(argc, argv);
}

CLI::Validator WholeNumber(int64_t least, int64_t most) {
  const auto check = [least, most](const std::string& text) {
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec == std::errc() && read.ptr == end && number >= least && number <= most)
      return std::string();
    return fmt::format("{} is no whole number from {} to {}", Quoted(text), least, most);
  };
  return {check, ""};
}

void Tell(const String& line) {
  rlib::stdOut.PutLine(rlib::EscapeControls(line));
}

} // namespace brenic::master
