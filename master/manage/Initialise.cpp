#include "manage/Initialise.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>

#include <fmt/core.h>

#include "manage/Addresses.h"
#include "manage/Certificates.h"
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
  return AddressText(endpoint);
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
  if (const auto problem = NameProblem("Master", name))
    throw new Exception(*problem);
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
  std::vector<std::string> hosts;
  for (const std::vector<std::string>& some : {options.m_Hosts, {machine, "localhost", "127.0.0.1", "::1"}})
    std::copy_if(some.begin(), some.end(), std::back_inserter(hosts), [&](const std::string& host) {
      return std::find(hosts.begin(), hosts.end(), host) == hosts.end();
    });
  master.m_Address = AddressOf(options);
  master.m_Server = IssueServer(master.m_Authority, master.m_Name, hosts).m_Credential;
  const Issued admin = IssueClient(master.m_Authority, "admin");

  const Path unfinished = Unfinished(options.m_Folder);
  const Validity validity = ValidityOf(admin.m_Credential.m_Certificate);
  SqliteStore::Create(unfinished, master,
                      {admin.m_Serial, "admin", Role::k_Administrator, 1, validity.m_Begin, validity.m_End});
  MakeFolder(options.m_Folder / "clients", 0700);
  WriteCredentials(FirstAdministrator(options.m_Folder), master.m_Authority.m_Certificate, admin.m_Credential,
                   master.m_Address);
  SyncFolder(options.m_Folder / "clients");
  if (rename(unfinished.c_str(), SqliteStore::File(options.m_Folder).c_str()) != 0)
    rlib::ThrowError("Cannot finish the database in '" + options.m_Folder.str() + "'", errno);
  SyncFolder(options.m_Folder);
  SyncFolder(Path(fs::absolute(options.m_Folder.str().str()).lexically_normal().parent_path().string()));
}

} // namespace brenic::master
