#include "DataFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <fmt/format.h>

#include "Requests.h"
#include "SqliteStore.h"
#include "net/Endpoint.h"
#include "rlib/IniFile.h"
#include "rlib/OutFile.h"

namespace brenic::master {

namespace {

namespace fs = std::filesystem;

constexpr int k_Secret = 0600;
constexpr int k_Public = 0644;

void MakeFolder(const Path& folder, mode_t mode) {
  std::error_code error;
  const fs::path parent = fs::path(folder.str().str()).parent_path();
  if (!parent.empty())
    fs::create_directories(parent, error);
  if (mkdir(folder.c_str(), mode) != 0 && errno != EEXIST)
    rlib::ThrowError("Cannot make the folder '" + folder.str() + "'", errno);
  struct stat info {};
  if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    throw new Exception("'" + folder.str() + "' is no folder");
}

/// Makes a file that must not exist: an existing one would keep its mode and owner.
void WriteFile(const Path& file, const std::string& text, int mode) {
  rlib::OutFile out(file, rlib::OutFile::k_Write | rlib::OutFile::k_Create | rlib::OutFile::k_Truncate, true,
                    false, mode);
  out.Put(String(text));
  out.Close();
}

void RequireEmpty(const Path& folder) {
  const fs::path path(folder.str().str());
  std::error_code error;
  if (!fs::exists(fs::symlink_status(path, error)))
    return;
  if (!fs::is_directory(fs::symlink_status(path, error)))
    throw new Exception("'" + folder.str() + "' is no folder");
  if (!fs::is_empty(path, error) || error)
    throw new Exception("'" + folder.str() +
                        "' is not empty; credentials are written to a folder of their own");
}

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

void WriteCredentials(const Path& folder, const Credential& authority, const Credential& client,
                      const String& address) {
  RequireEmpty(folder);
  MakeFolder(folder, 0700);
  WriteFile(folder / "ca.pem", authority.m_Certificate, k_Public);
  WriteFile(folder / "client.pem", client.m_Certificate, k_Public);
  WriteFile(folder / "client.key", client.m_Key, k_Secret);
  WriteFile(folder / "brenic.conf",
            fmt::format("[Client]\nMaster = {}\nCA = ca.pem\nCertificate = client.pem\nKey = client.key\n",
                        address.str()),
            k_Public);
}

String AddressOf(const InitOptions& options) {
  Endpoint endpoint;
  endpoint.m_Host = options.m_Hosts.empty() ? String("127.0.0.1") : String(options.m_Hosts.front());
  endpoint.m_Port = options.m_Port ? options.m_Port : k_DefaultPort;
  const bool plain = endpoint.m_Port == k_DefaultPort && endpoint.m_Host.str().find(':') == std::string::npos;
  return plain ? endpoint.m_Host : endpoint.ToString();
}

Path FirstAdministrator(const Path& folder) {
  return folder / "clients/admin";
}

/// The address that the first administrator's configuration names.
String KnownAddress(const Path& folder) {
  rlib::IniFile ini(true);
  ini.SetFileName((FirstAdministrator(folder) / "brenic.conf").str());
  if (ini.Load(true, false)) {
    while (ini.SetNextSection()) {
      String name, value;
      while (ini.GetNextValue(name, value)) {
        if (name.CompareNoCase("Master") == 0)
          return value;
      }
    }
  }
  return "127.0.0.1";
}

void CheckPartyName(const char* party, const String& name) {
  const String problem = name.empty() ? String("it is empty") : CheckText(name, 64);
  if (!problem.empty())
    throw new Exception(fmt::format("The {}'s name cannot be used: {}", party, problem.str()));
}

} // namespace

bool IsInitialised(const Path& folder) {
  return rlib::File::Exists(SqliteStore::File(folder));
}

void RequireInitialised(const Path& folder) {
  if (!IsInitialised(folder))
    throw new Exception("'" + folder.str() + "' holds no Master; run: brenic-master init --data-dir " +
                        folder.str());
}

void Initialise(const InitOptions& options) {
  const auto refuseExisting = [&] {
    if (IsInitialised(options.m_Folder))
      throw new Exception("'" + options.m_Folder.str() + "' already holds a Master");
  };
  refuseExisting();
  const std::string machine = MachineName();
  const String name = options.m_Name.empty() ? String(machine) : options.m_Name;
  CheckPartyName("Master", name);
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
  SqliteStore::Create(unfinished, master, {admin.m_Serial, "admin", Role::Administrator});
  MakeFolder(options.m_Folder / "clients", 0700);
  WriteCredentials(FirstAdministrator(options.m_Folder), master.m_Authority, admin.m_Credential,
                   AddressOf(options));
  if (rename(unfinished.c_str(), SqliteStore::File(options.m_Folder).c_str()) != 0)
    rlib::ThrowError("Cannot finish the database in '" + options.m_Folder.str() + "'", errno);
  SyncFolder(options.m_Folder);
}

void IssueCredentials(const ClientOptions& options) {
  CheckPartyName("client", options.m_Name);
  RequireEmpty(options.m_Out); // before anything is made
  SqliteStore store(options.m_Folder, Database::Mode::ReadWrite);
  const MasterRecord master = store.LoadMaster();
  const Issued issued = IssueClient(master.m_Authority, options.m_Name, options.m_ValidDays);
  WriteCredentials(options.m_Out, master.m_Authority, issued.m_Credential,
                   options.m_Address.empty() ? KnownAddress(options.m_Folder) : options.m_Address);
  store.AddClient({issued.m_Serial, options.m_Name, options.m_Role});
}

ServeLock::ServeLock(const Path& folder) {
  const Path file = folder / "lock";
  m_File = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, k_Secret);
  if (m_File < 0)
    rlib::ThrowError("Cannot open '" + file.str() + "'", errno);
  if (flock(m_File, LOCK_EX | LOCK_NB) == 0)
    return;
  close(m_File);
  throw new Exception("Another brenic-master already serves '" + folder.str() + "'");
}

ServeLock::~ServeLock() {
  close(m_File);
}

} // namespace brenic::master
