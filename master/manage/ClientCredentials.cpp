#include "manage/ClientCredentials.h"

#include <fmt/core.h>

#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "farm/TextCheck.h"
#include "manage/Addresses.h"
#include "manage/CredentialsFolder.h"
#include "net/Endpoint.h"

namespace brenic::master {

namespace {

/// An address that can be parsed, as it was given, but for a dot at the host's end, which no certificate
/// holds.
String Spelled(const String& address) {
  const auto endpoint = Endpoint::Parse(address);
  return endpoint->m_Host.str().ends_with('.') ? AddressText(*endpoint) : address;
}

} // namespace

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
  if (!options.m_Address.empty())
    CheckAddress(options.m_Address);
  const KeyPair key = MakeKey();
  CredentialsFolder out(options.m_Out, key.m_Private);
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
    out.Complete(issued->m_Authorities.str(), issued->m_Certificate.str(),
                 options.m_Address.empty() ? issued->m_Address : Spelled(options.m_Address));
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    throw new Exception(error->Message() +
                        "; the certificate was issued but is lost: mend that, then run this again" +
                        (options.m_Renew ? "" : " with --renew --overlap 0"));
  }
  return asked.m_Text;
}

} // namespace brenic::master
