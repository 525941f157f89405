#include "manage/ClientCredentials.h"

#include <sys/stat.h>

#include <filesystem>

#include <fmt/core.h>

#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "farm/TextCheck.h"
#include "net/Endpoint.h"
#include "rlib/OutFile.h"

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

void WriteCredentials(const Path& folder, const std::string& authorities, const Credential& client,
                      const String& address) {
  RequireEmpty(folder);
  MakeFolder(folder, 0700);
  WriteFile(folder / "ca.pem", authorities, k_Public);
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

std::optional<String> NameProblem(const char* party, const String& name) {
  rlib::Result<> check = CheckText(name, 64);
  if (name.empty())
    check = rlib::Failure("is empty");
  if (check)
    return std::nullopt;
  return String(fmt::format("The {}'s name cannot be used: it {}", party, check.Reason().str()));
}

String IssueCredentials(const ClientOptions& options, const Ask& ask) {
  if (const auto problem = NameProblem("client", options.m_Name))
    throw new Exception(*problem);
  RequireEmpty(options.m_Out); // before anything is made
  if (!options.m_Address.empty())
    CheckAddress(options.m_Address);
  const KeyPair key = MakeKey();
  const auto request = MessageFactory::Create<IssueClientMsg>();
  request->m_Name = options.m_Name;
  request->m_Role = options.m_Role;
  request->m_PublicKey = key.m_Public;
  request->m_Days = options.m_Days;
  request->m_Renew = options.m_Renew;
  request->m_Overlap = options.m_Overlap;
  const Asked asked = ask(options.m_Folder, *request);
  const auto* const issued = dynamic_cast<const IssuedClientMsg*>(asked.m_Reply.get());
  if (!issued)
    throw new Exception("The Master gave out no certificate");
  try {
    WriteCredentials(options.m_Out, issued->m_Authorities.str(), {issued->m_Certificate.str(), key.m_Private},
                     options.m_Address.empty() ? issued->m_Address : options.m_Address);
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    throw new Exception(error->Message() +
                        "; the certificate was issued but is lost: mend that, then run this "
                        "again with --renew --overlap 0");
  }
  return asked.m_Text;
}

} // namespace brenic::master
