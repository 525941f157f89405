#include <csignal>

#include <fmt/core.h>

#include "manage/Commands.h"
#include "manage/Initialise.h"
#include "manage/ServerCertificate.h"
#include "net/Endpoint.h"
#include "serve/Serve.h"
#include "store/DataFolder.h"

namespace {

using namespace brenic;
using namespace brenic::master;

struct ServeArguments {
  std::string m_Listen, m_PortFile, m_Socket, m_Config, m_Products;
  bool m_Init = false;
};

/// Runs the Master. One is made first where there is none, but only when that was asked for: a mistyped
/// folder, or one whose disk is not mounted, must not become another authority.
void RunMaster(const Path& folder, const ServeArguments& arguments) {
  const auto prepare = [&folder, &arguments] {
    if (arguments.m_Init && !IsInitialised(folder))
      Initialise({folder, {}, {}, 0});
    RequireInitialised(folder);
    RequirePrivate(folder);
  };
  Serve({folder, arguments.m_Listen, arguments.m_PortFile, arguments.m_Socket, arguments.m_Config,
         arguments.m_Products, prepare, RenewServerCertificate});
}

void AddServeCommand(CommandLine& line) {
  const auto arguments = std::make_shared<ServeArguments>();
  CLI::App& serve = line.AddOnFolder("serve", "Runs the Master in the foreground",
                                     [arguments](const Path& folder) { RunMaster(folder, *arguments); });
  serve.add_flag("--init", arguments->m_Init, "make a new Master first where the folder is empty or missing");
  serve.add_option(
      "--listen", arguments->m_Listen,
      fmt::format("ADDRESS:PORT; port 0 takes a free one; all addresses, port {} by default", k_DefaultPort));
  serve.add_option("--port-file", arguments->m_PortFile, "gets the port when the Master is ready");
  serve.add_option("--socket", arguments->m_Socket, "local socket to serve as well");
  serve.add_option("--config", arguments->m_Config, "configuration file");
  serve.add_option("--products", arguments->m_Products, "folder of the default products");
}

} // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  CommandLine line("The Master: holds a render farm's settings and answers its clients.");
  AddMakingCommands(line);
  AddServeCommand(line);
  AddCredentialCommands(line);
  AddHistoryCommands(line);
  AddPrintingCommands(line);
  return line.Run(argc, argv);
}
