#include "manage/ClientCredentials.h"
#include "manage/Commands.h"
#include "store/DataFolder.h"

namespace brenic::master {

void AddCredentialCommands(CommandLine& line) {
  struct Options {
    std::string m_Name, m_Role, m_Out, m_Address;
    int m_ValidDays = k_CertificateDays;
  };
  const auto options = std::make_shared<Options>();
  CLI::App& client = line.AddOnFolder("client", "Issues credentials", [options](const Path& folder) {
    RequireInitialised(folder);
    IssueCredentials({folder, options->m_Name, RoleOf(options->m_Role), options->m_Out, options->m_ValidDays,
                      options->m_Address});
    Tell("Issued credentials for '" + String(options->m_Name) + "' in '" + String(options->m_Out) + "'");
  });
  client.add_option("name", options->m_Name, "the client's name")->required();
  client.add_option("--role", options->m_Role, "administrator or component")
      ->required()
      ->check(CLI::IsMember({"administrator", "component"}));
  client.add_option("--out", options->m_Out, "folder that gets the credentials")->required();
  client.add_option("--master", options->m_Address, "address of the Master that the credentials name");
  client.add_option("--valid-days", options->m_ValidDays)->group(""); // not shown: for tests
}

} // namespace brenic::master
