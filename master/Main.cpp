#include <chrono>
#include <csignal>
#include <thread>

#include <fmt/core.h>

#include "brenic/ExitStatus.h"
#include "manage/Commands.h"
#include "manage/Endings.h"
#include "manage/Initialise.h"
#include "manage/Registrar.h"
#include "manage/Restore.h"
#include "net/Endpoint.h"
#include "rlib/Escape.h"
#include "rlib/File.h"
#include "rlib/Stream.h"
#include "serve/Alone.h"
#include "serve/Serve.h"
#include "store/DataFolder.h"

namespace {

using namespace brenic;
using namespace brenic::master;

struct ServeArguments {
  std::string m_Folder, m_PortFile, m_Socket, m_Config, m_Products;
  std::vector<std::string> m_Listen;
  bool m_Init = false;
};

CertificateCare CareOf(const Path& folder) {
  return {[folder](Store& store, const Message& message, const Moment& moment) {
            return Register(folder, store, message, moment);
          },
          IsRenewalDue,
          [endings = std::make_shared<Endings>()](Store& store, int64_t now) {
            return endings->News(store, now);
          }};
}

/// Runs the Master. One is made first where there is none, but only when that was asked for: a mistyped
/// folder, or one whose disk is not mounted, must not become another authority.
void RunMaster(const ServeArguments& arguments) {
  const auto prepare = [&arguments](const Path& folder) {
    if (arguments.m_Init && !IsInitialised(folder))
      Initialise({folder, {}, {}, 0});
    RequireInitialised(folder);
    RequirePrivate(folder);
    RequireAccepted(folder);
  };
  StartSettings start;
  start.m_DataFolder = arguments.m_Folder;
  start.m_Listen.assign(arguments.m_Listen.begin(), arguments.m_Listen.end());
  start.m_Socket = arguments.m_Socket;
  start.m_PortFile = arguments.m_PortFile;
  Serve({arguments.m_Config, start, arguments.m_Products, prepare, CareOf});
}

/// To be called while a ServeLock is held.
Asked AskAlone(const Path& folder, const Message& message) {
  return ReadAnswer(message, DecideAlone(folder, message, CareOf(folder)));
}

/// Has the running Master decide, or one that is made for it alone. Waits for one that begins or ends.
Asked AskWhoeverHolds(const Path& folder, const Message& message) {
  constexpr int k_Tries = 300;
  constexpr std::chrono::milliseconds k_Pause(100);
  RequireInitialised(folder);
  for (int tries = 0; tries != k_Tries; ++tries) {
    if (const auto lock = ServeLock::Try(folder))
      return AskAlone(folder, message);
    if (auto asked = AskRunning(folder, message))
      return std::move(*asked);
    if (tries == 10)
      rlib::stdErr.PutLine("brenic-master: waiting for the Master in '" + rlib::EscapeControls(folder.str()) +
                           "', which begins or ends just now" +
                           (rlib::File::Exists(ManagementSocket(folder))
                                ? ""
                                : ", or whose manage.sock was taken away: it makes that anew by itself"));
    std::this_thread::sleep_for(k_Pause);
  }
  throw new Exception(
      "The Master in '" + rlib::EscapeControls(folder.str()) +
      (rlib::File::Exists(ManagementSocket(folder))
           ? "' runs, but nobody answers as it does at its manage.sock: unless it still begins or ends, "
             "another process listens there, which its log tells"
           : "' runs, but cannot be asked, since its manage.sock is missing: its log says why"));
}

void AddServeCommand(CommandLine& line) {
  const auto arguments = std::make_shared<ServeArguments>();
  CLI::App& serve = line.Add("serve", "Runs the Master in the foreground", [arguments] {
    RunMaster(*arguments);
    return k_ExitDone;
  });
  serve.add_option("--data-dir", arguments->m_Folder,
                   "folder that holds everything of the Master; as configured by default");
  serve.add_flag("--init", arguments->m_Init, "make a new Master first where the folder is empty or missing");
  serve
      .add_option(
          "--listen", arguments->m_Listen,
          fmt::format("ADDRESS:PORT, may be repeated; port 0 takes a free one; all addresses, port {} "
                      "by default",
                      k_DefaultPort))
      ->allow_extra_args(false);
  serve.add_option("--port-file", arguments->m_PortFile, "gets the (first) port when the Master is ready");
  serve.add_option("--socket", arguments->m_Socket, "local socket to serve as well");
  serve.add_option("--config", arguments->m_Config, "configuration file; the other options override it");
  serve.add_option("--products", arguments->m_Products, "folder of the default products");
}

} // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  CommandLine line("The Master: holds a render farm's settings and answers its clients.");
  AddMakingCommands(line);
  AddServeCommand(line);
  AddBackupCommands(line, AskAlone);
  AddCredentialCommands(line, AskWhoeverHolds, [](Store& store) { return ClockOf(store)->Present(); });
  AddHistoryCommands(line, AskWhoeverHolds);
  AddLookingCommands(line);
  AddPrintingCommands(line);
  return line.Run(argc, argv);
}
