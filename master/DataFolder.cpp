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

void WriteFile(const Path& file, const std::string& text, int mode) {
  rlib::OutFile out(file, rlib::OutFile::k_Write | rlib::OutFile::k_Create | rlib::OutFile::k_Truncate, false,
                    false, mode);
  out.Put(String(text));
  out.Close();
}

std::string MachineName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 && name[0] ? name.data() : "localhost";
}

void WriteCredentials(const Path& folder, const Credential& authority, const Credential& client,
                      const String& address) {
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

void CheckClientName(const String& name) {
  const String problem = name.empty() ? String("it is empty") : CheckText(name, 64);
  if (!problem.empty())
    throw new Exception("The client's name cannot be used: " + problem);
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
  if (IsInitialised(options.m_Folder))
    throw new Exception("'" + options.m_Folder.str() + "' already holds a Master");
  MakeFolder(options.m_Folder, 0700);
  if (chmod(options.m_Folder.c_str(), 0700) != 0)
    rlib::ThrowError("Cannot close the folder '" + options.m_Folder.str() + "' to others", errno);

  const std::string machine = MachineName();
  MasterRecord master;
  master.m_ID = UID(true);
  master.m_Name = options.m_Name.empty() ? String(machine) : options.m_Name;
  CheckClientName(master.m_Name);
  master.m_Authority = MakeAuthority("Brenic authority " + master.m_ID.ToString());
  std::set<std::string> hosts{machine, "localhost", "127.0.0.1", "::1"};
  hosts.insert(options.m_Hosts.begin(), options.m_Hosts.end());
  master.m_Server = IssueServer(master.m_Authority, master.m_Name, hosts).m_Credential;
  const Issued admin = IssueClient(master.m_Authority, "admin");

  MakeFolder(options.m_Folder / "clients", 0700);
  WriteCredentials(FirstAdministrator(options.m_Folder), master.m_Authority, admin.m_Credential,
                   AddressOf(options));
  SqliteStore::Create(options.m_Folder, master, {admin.m_Serial, "admin", Role::Administrator});
}

void IssueCredentials(const ClientOptions& options) {
  CheckClientName(options.m_Name);
  SqliteStore store(options.m_Folder, Database::Mode::ReadWrite);
  const MasterRecord master = store.LoadMaster();
  if (rlib::File::Exists(options.m_Out / "client.key"))
    throw new Exception("'" + options.m_Out.str() + "' already holds credentials");
  const Issued issued = IssueClient(master.m_Authority, options.m_Name, options.m_ValidDays);
  WriteCredentials(options.m_Out, master.m_Authority, issued.m_Credential,
                   options.m_Address.empty() ? KnownAddress(options.m_Folder) : options.m_Address);
  store.AddClient({issued.m_Serial, options.m_Name, options.m_Role});
}

ServeLock::ServeLock(const Path& folder) {
  const Path file = folder / "lock";
  m_File = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, k_Secret);
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
