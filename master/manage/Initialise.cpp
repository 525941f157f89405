#include "manage/Initialise.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include <fmt/core.h>

#include "manage/ClientCredentials.h"
#include "net/Endpoint.h"
#include "rlib/File.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

namespace fs = std::filesystem;

/// The database while it is being made. As long as it is there, `clients` holds nothing that was ever given
/// out.
Path Unfinished(const Path& folder) {
  return folder / "master.db.new";
}

/// Not every folder may be taken over: closing it to others and filling it could harm what it is for.
void CheckMayInitialise(const Path& folder) {
  struct stat info {};
  if (stat(folder.c_str(), &info) != 0)
    rlib::ThrowError("Cannot look at the folder '" + folder.str() + "'", errno);
  if (info.st_uid != geteuid())
    throw new Exception("'" + folder.str() + "' belongs to another user");
  std::error_code error;
  const bool unfinished = fs::exists(fs::symlink_status(Unfinished(folder).str().str(), error));
  for (const auto& entry : fs::directory_iterator(folder.str().str(), error)) {
    const std::string name = entry.path().filename().string();
    const bool remains = name == "clients" || name.rfind("master.db.new", 0) == 0;
    if (name != "lock" && !(unfinished && remains))
      throw new Exception("'" + folder.str() + "' is not empty and holds no Master: there is '" + name +
                          "' and no master.db");
  }
  if (error)
    throw new Exception("Cannot read the folder '" + folder.str() + "': " + error.message());
}

void SyncFolder(const Path& folder) {
  const int file = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool synced = file >= 0 && (fsync(file) == 0 || errno == EINVAL); // some file systems cannot
  const int error = errno;
  close(file);
  if (!synced)
    rlib::ThrowError("Cannot write the folder '" + folder.str() + "'", error);
}

void RemoveUnfinished(const Path& folder) {
  if (!rlib::File::Exists(Unfinished(folder)))
    return;
  fs::remove_all((folder / "clients").str().str());
  for (const char* suffix : {"-wal", "-shm", "-journal", ""}) // the one that tells goes last
    fs::remove(Unfinished(folder).str().str() + suffix);
}

std::string MachineName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 && name[0] ? name.data() : "localhost";
}

String AddressOf(const InitOptions& options) {
  Endpoint endpoint;
  endpoint.m_Host = options.m_Hosts.empty() ? String("127.0.0.1") : String(options.m_Hosts.front());
  endpoint.m_Port = options.m_Port ? options.m_Port : k_DefaultPort;
  const bool plain = endpoint.m_Port == k_DefaultPort && endpoint.m_Host.str().find(':') == std::string::npos;
  return plain ? endpoint.m_Host : endpoint.ToString();
}

} // namespace

void Initialise(const InitOptions& options) {
  const auto refuseExisting = [&] {
    if (IsInitialised(options.m_Folder))
      throw new Exception("'" + options.m_Folder.str() + "' already holds a Master");
  };
  refuseExisting();
  const std::string machine = MachineName();
  const String name = options.m_Name.empty() ? String(machine) : options.m_Name;
  CheckPartyName("Master", name);
  CheckAddress(AddressOf(options));
  MakeFolder(options.m_Folder, 0700);
  CheckMayInitialise(options.m_Folder);
  const ServeLock lock(options.m_Folder);
  refuseExisting(); // somebody else may just have come to the end of it
  RemoveUnfinished(options.m_Folder);
  if (chmod(options.m_Folder.c_str(), 0700) != 0)
    rlib::ThrowError("Cannot close the folder '" + options.m_Folder.str() + "' to others", errno);

  MasterRecord master;
  master.m_ID = UID(true);
  master.m_Name = name;
  master.m_Authority = MakeAuthority("Brenic authority " + master.m_ID.ToString());
  std::set<std::string> hosts{machine, "localhost", "127.0.0.1", "::1"};
  hosts.insert(options.m_Hosts.begin(), options.m_Hosts.end());
  master.m_Server = IssueServer(master.m_Authority, master.m_Name, hosts).m_Credential;
  const Issued admin = IssueClient(master.m_Authority, "admin");

  const Path unfinished = Unfinished(options.m_Folder);
  SqliteStore::Create(unfinished, master, {admin.m_Serial, "admin", Role::k_Administrator});
  MakeFolder(options.m_Folder / "clients", 0700);
  WriteCredentials(FirstAdministrator(options.m_Folder), master.m_Authority, admin.m_Credential,
                   AddressOf(options));
  SyncFolder(options.m_Folder / "clients");
  if (rename(unfinished.c_str(), SqliteStore::File(options.m_Folder).c_str()) != 0)
    rlib::ThrowError("Cannot finish the database in '" + options.m_Folder.str() + "'", errno);
  SyncFolder(options.m_Folder);
  SyncFolder(Path(fs::absolute(options.m_Folder.str().str()).lexically_normal().parent_path().string()));
}

} // namespace brenic::master
