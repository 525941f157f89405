#include <csignal>

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include "Release.h"
#include "brenic/ExitStatus.h"
#include "manage/Commands.h"
#include "manage/Initialise.h"
#include "manage/ServerCertificate.h"
#include "net/Endpoint.h"
#include "rlib/Escape.h"
#include "rlib/Failures.h"
#include "rlib/Stream.h"
#include "serve/Serve.h"
#include "store/DataFolder.h"

namespace {

using namespace brenic;
using namespace brenic::master;

/// Runs the Master. One is made first where there is none, but only when that was asked for: a mistyped
/// folder, or one whose disk is not mounted, must not become another authority.
void ServeCommand(const Arguments& arguments) {
  const auto prepare = [&arguments] {
    if (arguments.m_Init && !IsInitialised(arguments.m_Folder))
      Initialise({arguments.m_Folder, {}, {}, 0});
    RequireInitialised(arguments.m_Folder);
    RequirePrivate(arguments.m_Folder);
  };
  Serve({arguments.m_Folder, arguments.m_Listen, arguments.m_PortFile, arguments.m_Socket, arguments.m_Config,
         arguments.m_Products, prepare, RenewServerCertificate});
}

int Run(void (*command)(const Arguments&), const Arguments& arguments) {
  String problem;
  try {
    command(arguments);
    return rlib::AnyFailureNoted() ? k_ExitFailed : k_ExitDone;
  } catch (Exception* error) {
    problem = error->Message();
    delete error;
  } catch (const std::exception& error) {
    problem = error.what();
  }
  rlib::stdErr.PutLine("brenic-master: " + problem);
  return k_ExitFailed;
}

/// What is said of wrong options: it quotes them.
std::string AboutOptions(const CLI::App* app, const CLI::Error& error) {
  return CLI::FailureMessage::simple(
      app,
      CLI::Error(error.get_name(), rlib::EscapeControls(String(error.what())).str(), error.get_exit_code()));
}

} // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  Arguments arguments;
  CLI::App app("The Master: holds a render farm's settings and answers its clients.");
  app.set_version_flag("--version", "brenic-master " + rlib::VER_STRING(k_Version).str());
  app.failure_message(AboutOptions);
  app.require_subcommand(1);
  int status = k_ExitDone;
  const auto add = [&](const char* name, const char* description, void (*command)(const Arguments&)) {
    CLI::App* sub = app.add_subcommand(name, description);
    sub->add_option("--data-dir", arguments.m_Folder, "folder that holds everything of the Master")
        ->required();
    sub->callback([&status, &arguments, command] { status = Run(command, arguments); });
    return sub;
  };

  CLI::App* init = add("init", "Makes a new Master", Init);
  init->add_option("--name", arguments.m_Name, "the Master's name; the machine's by default");
  init->add_option("--host", arguments.m_Hosts, "name or address by which clients reach it")
      ->allow_extra_args(false);
  init->add_option("--port", arguments.m_Port, "port that the first credentials name");

  CLI::App* serve = add("serve", "Runs the Master in the foreground", ServeCommand);
  serve->add_flag("--init", arguments.m_Init, "make a new Master first where the folder is empty or missing");
  serve->add_option(
      "--listen", arguments.m_Listen,
      fmt::format("ADDRESS:PORT; port 0 takes a free one; all addresses, port {} by default", k_DefaultPort));
  serve->add_option("--port-file", arguments.m_PortFile, "gets the port when the Master is ready");
  serve->add_option("--socket", arguments.m_Socket, "local socket to serve as well");
  serve->add_option("--config", arguments.m_Config, "configuration file");
  serve->add_option("--products", arguments.m_Products, "folder of the default products");

  CLI::App* client = add("client", "Issues credentials", IssueClientCredentials);
  client->add_option("name", arguments.m_Name, "the client's name")->required();
  client->add_option("--role", arguments.m_Role, "administrator or component")
      ->required()
      ->check(CLI::IsMember({"administrator", "component"}));
  client->add_option("--out", arguments.m_Out, "folder that gets the credentials")->required();
  client->add_option("--master", arguments.m_Hosts, "address of the Master that the credentials name")
      ->allow_extra_args(false);
  client->add_option("--valid-days", arguments.m_ValidDays)->group(""); // not shown: for tests

  CLI::App* state = add("state", "Prints what the Master holds", PrintState);
  CLI::Option* json = state->add_flag("--json", arguments.m_Json, "as one JSON object");
  state->add_flag("--ini", arguments.m_Ini, "options, limits and restrictions as an INI file")
      ->excludes(json);

  CLI::App* audit = add("audit", "Prints the audit trail", PrintAudit);
  audit->add_flag("--json", arguments.m_Json, "one JSON object a line");
  audit->add_option("--since", arguments.m_Since, "only what is not older, as 2026-01-31T12:00:00Z");

  CLI11_PARSE(app, argc, argv);
  return status;
}
