#include "manage/ClientCredentials.h"

#include <sys/stat.h>

#include <filesystem>

#include <fmt/core.h>

#include "farm/TextCheck.h"
#include "net/Endpoint.h"
#include "rlib/IniFile.h"
#include "rlib/OutFile.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

namespace fs = std::filesystem;

constexpr int k_Secret = 0600;
constexpr int k_Public = 0644;

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

} // namespace

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

Path FirstAdministrator(const Path& folder) {
  return folder / "clients/admin";
}

void CheckAddress(const String& address) {
  if (const auto endpoint = Endpoint::Parse(address); !endpoint)
    throw new Exception("Clients cannot be told the address '" + address + "': " + endpoint.Reason());
}

void CheckPartyName(const char* party, const String& name) {
  rlib::Result<> check = CheckText(name, 64);
  if (name.empty())
    check = rlib::Failure("is empty");
  if (!check)
    throw new Exception(fmt::format("The {}'s name cannot be used: it {}", party, check.Reason().str()));
}

void IssueCredentials(const ClientOptions& options) {
  CheckPartyName("client", options.m_Name);
  RequireEmpty(options.m_Out); // before anything is made
  if (!options.m_Address.empty())
    CheckAddress(options.m_Address);
  SqliteStore store(options.m_Folder, Database::Mode::k_ReadWrite, IsServed(options.m_Folder));
  const MasterRecord master = store.LoadMaster();
  const Issued issued = IssueClient(master.m_Authority, options.m_Name, options.m_ValidDays);
  WriteCredentials(options.m_Out, master.m_Authority, issued.m_Credential,
                   options.m_Address.empty() ? KnownAddress(options.m_Folder) : options.m_Address);
  store.AddClient({issued.m_Serial, options.m_Name, options.m_Role});
}

} // namespace brenic::master
