#include "serve/Serve.h"

#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include "rlib/CrashHandler.h"
#include "rlib/File.h"
#include "rlib/Log.h"
#include "rlib/OutFile.h"
#include "rlib/Stream.h"
#include "serve/DefaultProducts.h"
#include "serve/Handshakes.h"
#include "serve/MasterConfiguration.h"
#include "serve/Server.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

constexpr char k_Application[] = "brenic-master";

Path ProductsFolder(const ServeOptions& options, const MasterConfiguration& configuration) {
  if (!options.m_Products.empty())
    return options.m_Products;
  if (!configuration.m_Products.empty())
    return configuration.m_Products;
  return rlib::File::Exists(BRENIC_PRODUCTS_FOLDER) ? Path(BRENIC_PRODUCTS_FOLDER) : Path();
}

void OpenLog(const ServeOptions& options, const MasterConfiguration& configuration) {
  const Path folder =
      configuration.m_LogFolder.empty() ? options.m_Folder / "log" : configuration.m_LogFolder;
  const rlib::Result<> opened =
      rlib::Log::Open(k_Application, folder, configuration.m_LogFileLevel, configuration.m_LogDisplayLevel);
  if (!opened)
    rlib::stdErr.PutLine("The log cannot be written: " + opened.Reason());
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

} // namespace

void Serve(const ServeOptions& options) {
  if (!options.m_PortFile.empty())
    RemoveStalePortFile(options.m_PortFile);
  // Before anything is made or changed.
  const MasterConfiguration configuration = LoadMasterConfiguration(options.m_ConfigFile);
  if (!options.m_Listen.empty())
    CheckListen(options.m_Listen);
  options.m_Prepare();
  const ServeLock lock(options.m_Folder);
  OpenLog(options, configuration);

  ServerOptions serverOptions;
  serverOptions.m_Listen = options.m_Listen.empty() ? DefaultListen(HasIPv6()) : options.m_Listen;
  serverOptions.m_Socket = options.m_Socket;
  serverOptions.m_ManagementSocket = ManagementSocket(options.m_Folder);
  serverOptions.m_Care = options.m_Care;
  serverOptions.m_Commands = configuration.m_Commands;
  serverOptions.m_EndSignals = {SIGTERM, SIGINT};
  serverOptions.m_Places = ClientPlaces();
  serverOptions.m_ConnectionsPerCertificate = configuration.m_ConnectionsPerCertificate;
  const Path products = ProductsFolder(options, configuration);
  serverOptions.m_Products = products;
  const rlib::Result<std::vector<Path>> productFiles =
      products.empty() ? std::vector<Path>() : DefaultProductFiles(products);
  if (!productFiles)
    throw new Exception(productFiles.Reason());

  // Last, for there is no way back: an earlier Master does not read the new layout.
  SqliteStore::BringToThisLayout(options.m_Folder);
  auto store = std::make_unique<SqliteStore>(options.m_Folder, Database::Mode::k_ReadWrite);
  if (!products.empty())
    UpdateDefaultProducts(*store, *productFiles, serverOptions.m_Run);
  auto directory = std::make_unique<SqliteStore>(options.m_Folder, Database::Mode::k_ReadOnly);

  Server server(serverOptions, std::move(store), std::move(directory));
  if (!options.m_PortFile.empty())
    WritePortFile(options.m_PortFile, server.Port());
  rlib::LogSystem("Serving on " + server.Address());
  rlib::stdOut.PutLine("Serving on " + server.Address());
  server.Run();
  rlib::LogSystem("Ended");
}

} // namespace brenic::master
