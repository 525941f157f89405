// What a restored Master is to be besides what the backup holds.
#include <algorithm>

#include "manage/Addresses.h"
#include "manage/ClientCredentials.h"
#include "manage/Initialise.h"
#include "manage/Office.h"
#include "store/RevokedFile.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

/// The Master under its name of before, or another one, and on these hosts.
struct Identity {
  String m_Name;
  std::vector<std::string> m_Hosts;
  int64_t m_Authority = 0;
  Credential m_Server;
};

Result<Identity> MakeIdentity(const Office& office, const MasterRecord& master, const RestoreMsg& request) {
  Identity identity;
  identity.m_Name = request.m_Name.empty() ? master.m_Name : request.m_Name;
  if (const auto problem = NameProblem("Master", identity.m_Name))
    return Failure(*problem);
  for (const String& host : request.m_Hosts) {
    if (const auto problem = HostProblem(host.str()))
      return Failure(*problem);
    identity.m_Hosts.push_back(host.str());
  }
  identity.m_Hosts =
      request.m_Hosts.empty() ? EachHostOnce(HostsOf(master.m_Server)) : HostsOfMachine(identity.m_Hosts);
  // Clients that were away during a roll-over trust the earlier authority alone.
  identity.m_Authority = master.m_ServerAuthority;
  const auto authority =
      std::find_if(master.m_Authorities.begin(), master.m_Authorities.end(),
                   [&](const Authority& each) { return each.m_Number == master.m_ServerAuthority; });
  if (authority == master.m_Authorities.end() || authority->m_Credential.m_Key.empty())
    return Failure(fmt::format("The backup does not hold the private key of authority {}, so no certificate "
                               "can be issued for another name "
                               "or host; restore it without --name and --host",
                               master.m_ServerAuthority));
  const Validity validity = ValidityFor(k_CertificateDays, office.m_Moment, authority->m_Credential);
  identity.m_Server =
      IssueServer(authority->m_Credential, identity.m_Name, identity.m_Hosts, validity).m_Credential;
  return identity;
}

std::string Take(const Office& office, const MasterRecord& master, const Identity& identity) {
  office.m_Store.Rename(identity.m_Name);
  office.m_Store.ReplaceServerCredential(identity.m_Server, identity.m_Authority);
  office.m_Store.SetAddress(AddressAmong(identity.m_Hosts, AddressForClients(office.m_Folder, master)));
  std::string done;
  if (identity.m_Name != master.m_Name)
    done = fmt::format("the Master is called {} from now on, no longer {}; ", Quoted(identity.m_Name),
                       Quoted(master.m_Name));
  return done + fmt::format("its certificate is valid for {}", Listed(identity.m_Hosts));
}

/// The certificates, marked as revoked, in the order of the lines; those that are valid.
Result<std::vector<ClientRecord>> RevokedBy(Store& store, const rlib::vector<String>& lines) {
  std::vector<ClientRecord> revoked;
  for (const String& line : lines) {
    const auto revocation = RevocationOfLine(line.str());
    if (!revocation)
      return Failure("'" + rlib::Excerpt(line) + "' is no line of a file 'revoked'");
    auto client = store.FindClient(revocation->m_Serial);
    if (!client || client->m_Revoked)
      continue;
    client->m_Revoked = revocation->m_Time;
    revoked.push_back(*client);
  }
  return revoked;
}

} // namespace

Result<Managed> RegisterAs(const Office& office, const RestoreMsg& request) {
  if (office.m_Store.IsAccepted())
    return Failure("This Master was not restored, or was accepted since");
  const MasterRecord master = office.m_Store.LoadMaster();
  std::optional<Identity> identity;
  if (!request.m_Name.empty() || !request.m_Hosts.empty()) {
    auto made = MakeIdentity(office, master, request);
    if (!made)
      return made.Why();
    identity = std::move(*made);
  }
  const auto revoked = RevokedBy(office.m_Store, request.m_Revoked);
  if (!revoked)
    return revoked.Why();

  std::vector<std::string> done;
  if (identity)
    done.push_back(Take(office, master, *identity));
  for (const ClientRecord& client : *revoked)
    office.m_Store.ReplaceClient(client);
  if (!revoked->empty())
    done.push_back(fmt::format("revoked {} certificate{} by the file 'revoked'", revoked->size(),
                               revoked->size() == 1 ? "" : "s"));
  if (request.m_Accept) {
    office.m_Store.Accept();
    done.emplace_back("accepted: it may serve");
  }
  if (done.empty())
    return Failure("Nothing is to be made different from the backup");
  Managed managed;
  managed.m_Done = fmt::format("Restored from a backup; {}", fmt::join(done, "; "));
  return managed;
}

} // namespace brenic::master
