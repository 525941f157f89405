#include "serve/Serve.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <fmt/core.h>

#include "rlib/CrashHandler.h"
#include "rlib/Escape.h"
#include "rlib/File.h"
#include "rlib/Log.h"
#include "rlib/OutFile.h"
#include "rlib/Stream.h"
#include "serve/DefaultProducts.h"
#include "serve/Handshakes.h"
#include "serve/MasterConfiguration.h"
#include "serve/Server.h"
#include "store/DataFolder.h"
#include "store/RevokedFile.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

constexpr char k_Application[] = "brenic-master";

/// A hang-up waits until it can be dealt with: by default it ends the process.
void HoldHangUps(int how) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGHUP);
  pthread_sigmask(how, &signals, nullptr);
}

/// The configuration, and over it what the command line says.
MasterConfiguration LoadSettings(const ServeOptions& options) {
  MasterConfiguration settings = LoadMasterConfiguration(options.m_ConfigFile);
  const auto replace = [](auto& setting, const auto& given) {
    if (!given.empty())
      setting = given;
  };
  replace(settings.m_Start.m_DataFolder, options.m_Start.m_DataFolder);
  replace(settings.m_Start.m_Listen, options.m_Start.m_Listen);
  replace(settings.m_Start.m_Socket, options.m_Start.m_Socket);
  replace(settings.m_Start.m_PortFile, options.m_Start.m_PortFile);
  replace(settings.m_Live.m_Products, options.m_Products);
  if (settings.m_Start.m_Listen.empty())
    settings.m_Start.m_Listen.push_back(DefaultListen(HasIPv6()));
  if (settings.m_Live.m_Products.empty() && rlib::File::Exists(BRENIC_PRODUCTS_FOLDER))
    settings.m_Live.m_Products = BRENIC_PRODUCTS_FOLDER;
  return settings;
}

void OpenLog(const MasterConfiguration& settings) {
  const StartSettings& start = settings.m_Start;
  const Path folder = start.m_LogFolder.empty() ? start.m_DataFolder / "log" : start.m_LogFolder;
  const rlib::Result<> opened = rlib::Log::Open(k_Application, folder, settings.m_Live.m_LogFileLevel,
                                                settings.m_Live.m_LogDisplayLevel);
  if (!opened)
    rlib::stdErr.PutLine(rlib::JournalPriority(rlib::Log::k_Error) +
                         ("The log cannot be written: " + opened.Reason()));
  rlib::InstallCrashHandler(folder, k_Application);
}

/// How many clients there is room for: each needs a descriptor.
size_t ClientPlaces() {
  constexpr size_t k_Besides = Handshakes::k_Most + 64; // descriptors for strangers, the database, the log
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
    return Places::k_All;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur >= Places::k_All + k_Besides)
    return Places::k_All;
  const size_t places = std::max(limit.rlim_cur, k_Besides + Places::k_ForAdministrators) - k_Besides;
  rlib::LogWarning(fmt::format(
      "There are places for {} clients, {} of them for components, instead of {}, since this process may "
      "have only {} files open (ulimit -n, in a unit LimitNOFILE)",
      places, places - Places::k_ForAdministrators, Places::k_All, limit.rlim_cur));
  return places;
}

/// What a Master that was killed has left would name a port that nobody listens on.
void RemoveStalePortFile(const Path& file) {
  struct stat info {};
  if (lstat(file.c_str(), &info) == 0 && S_ISREG(info.st_mode))
    unlink(file.c_str());
}

void WritePortFile(const Path& file, uint16_t port) {
  using rlib::OutFile;
  OutFile out(file, OutFile::k_Write | OutFile::k_Create | OutFile::k_Truncate, false, false, 0644);
  out.Put(String(fmt::format("{}\n", port)));
  out.Close();
}

void UpdateDefaultProducts(Store& store, const std::vector<Path>& files, const std::string& run) {
  TryToStore("The default products", [&] {
    Farm farm = store.LoadFarm();
    TakeDefaultProducts(files, store, farm, run, Time::Now().Milliseconds());
  });
}

/// Somebody may have taken the file away, or restored a backup with an earlier program. Without it the Master
/// serves as well, but revokes nothing.
void CompleteRevokedIn(const Path& folder, Store& store) {
  try {
    if (const size_t added = CompleteRevoked(RevokedFile(folder), {}, store))
      rlib::LogSystem(fmt::format("Added {} revoked certificate{} to '{}', which did not tell of {}", added,
                                  added == 1 ? "" : "s", RevokedFile(folder).str().str(),
                                  added == 1 ? "it" : "them"));
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    rlib::LogWarning("The list of revoked certificates cannot be completed, so a restore could not go by it, "
                     "and nothing can be revoked: " +
                     error->Message());
  }
}

/// Waits for a subcommand that decides something just now.
std::unique_ptr<ServeLock> LockFor(const Path& folder) {
  constexpr std::chrono::milliseconds k_Pause(50);
  for (int tries = 0; tries != 40; ++tries) {
    if (auto lock = ServeLock::Try(folder))
      return lock;
    std::this_thread::sleep_for(k_Pause);
  }
  return std::make_unique<ServeLock>(folder);
}

void CheckAddresses(const std::vector<String>& addresses) {
  std::set<String> seen;
  for (const String& address : addresses) {
    CheckListen(address);
    const bool isAnyPort = address.str().ends_with(":0");
    if (!isAnyPort && !seen.insert(address).second)
      throw new Exception("What to listen on has '" + address + "' twice; name each address once");
  }
}

/// Clients and subcommands are told apart by where they come in.
void CheckSocket(const Path& socket, const Path& folder) {
  const auto plain = [](const Path& path) {
    return std::filesystem::weakly_canonical(path.str().str()).string();
  };
  if (!socket.empty() && plain(socket) == plain(ManagementSocket(folder)))
    throw new Exception("The local socket '" + rlib::EscapeControls(socket.str()) +
                        "' is the Master's own management socket, which is always there; give Socket "
                        "another path");
}

} // namespace

void Serve(const ServeOptions& options) {
  HoldHangUps(SIG_BLOCK);
  RemoveStalePortFile(options.m_Start.m_PortFile);
  // Before anything is made or changed.
  const MasterConfiguration settings = LoadSettings(options);
  CheckAddresses(settings.m_Start.m_Listen);
  const Path& folder = settings.m_Start.m_DataFolder;
  if (folder.empty())
    throw new Exception("No data folder is given; say --data-dir DIR, or DataFolder in the configuration");
  CheckSocket(settings.m_Start.m_Socket, folder);
  RemoveStalePortFile(settings.m_Start.m_PortFile);
  options.m_Prepare(folder);
  const std::unique_ptr<ServeLock> lock = LockFor(folder);
  OpenLog(settings);
  if (!options.m_ConfigFile.empty() && settings.m_Names.empty())
    rlib::LogSystem("The configuration '" + options.m_ConfigFile.str() + "' has no settings");

  ServerOptions serverOptions;
  serverOptions.m_Settings = settings;
  serverOptions.m_Load = [&options] { return LoadSettings(options); };
  serverOptions.m_ReloadSignal = SIGHUP;
  serverOptions.m_ManagementSocket = ManagementSocket(folder);
  serverOptions.m_Care = options.m_Care(folder);
  serverOptions.m_EndSignals = {SIGTERM, SIGINT};
  serverOptions.m_Places = ClientPlaces();
  const Path& products = settings.m_Live.m_Products;
  const rlib::Result<std::vector<Path>> productFiles =
      products.empty() ? std::vector<Path>() : DefaultProductFiles(products);
  if (!productFiles)
    throw new Exception(productFiles.Reason());

  // Last, for there is no way back: an earlier Master does not read the new layout.
  SqliteStore::BringToThisLayout(folder);
  auto store = std::make_unique<SqliteStore>(folder, Database::Mode::k_ReadWrite);
  CompleteRevokedIn(folder, *store);
  if (!products.empty())
    UpdateDefaultProducts(*store, *productFiles, serverOptions.m_Run);
  auto directory = std::make_unique<SqliteStore>(folder, Database::Mode::k_ReadOnly);

  Server server(serverOptions, std::move(store), std::move(directory));
  HoldHangUps(SIG_UNBLOCK);
  if (const Path& file = settings.m_Start.m_PortFile; !file.empty())
    WritePortFile(file, server.Port());
  rlib::LogSystem("Serving on " + server.Address());
  rlib::stdOut.PutLine("Serving on " + server.Address());
  server.Run();
  rlib::LogSystem("Ended");
}

} // namespace brenic::master
