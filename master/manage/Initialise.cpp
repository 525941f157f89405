#include "manage/Initialise.h"

#include <unistd.h>

#include <array>

#include "manage/Addresses.h"
#include "manage/Certificates.h"
#include "manage/ClientCredentials.h"
#include "manage/CredentialsFolder.h"
#include "manage/NewDataFolder.h"
#include "net/Endpoint.h"
#include "store/DataFolder.h"
#include "store/DurableFiles.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

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

std::vector<std::string> HostsOfMachine(const std::vector<std::string>& others) {
  std::vector<std::string> hosts = others;
  hosts.insert(hosts.end(), {MachineName(), "localhost", "127.0.0.1", "::1"});
  return EachHostOnce(hosts);
}

void Initialise(const InitOptions& options) {
  if (IsInitialised(options.m_Folder))
    throw new Exception("'" + options.m_Folder.str() + "' already holds a Master");
  const std::string machine = MachineName();
  const String name = options.m_Name.empty() ? String(machine) : options.m_Name;
  if (const auto problem = NameProblem("Master", name))
    throw new Exception(*problem);
  CheckAddress(AddressOf(options));
  NewDataFolder folder(options.m_Folder);

  MasterRecord master;
  master.m_ID = UID(true);
  master.m_Name = name;
  master.m_Authority = MakeAuthority("Brenic authority " + master.m_ID.ToString());
  master.m_Address = AddressOf(options);
  master.m_Server =
      IssueServer(master.m_Authority, master.m_Name, HostsOfMachine(options.m_Hosts)).m_Credential;
  const Issued admin = IssueClient(master.m_Authority, "admin");

  const Validity validity = ValidityOf(admin.m_Credential.m_Certificate);
  SqliteStore::Create(folder.Unfinished(), master,
                      {admin.m_Serial, "admin", Role::k_Administrator, 1, validity.m_Begin, validity.m_End});
  MakeFolder(options.m_Folder / "clients", 0700);
  CredentialsFolder(FirstAdministrator(options.m_Folder), admin.m_Credential.m_Key)
      .Complete(master.m_Authority.m_Certificate, admin.m_Credential.m_Certificate, master.m_Address);
  SyncFolder(options.m_Folder / "clients");
  folder.Finish(folder.Unfinished());
}

} // namespace brenic::master
