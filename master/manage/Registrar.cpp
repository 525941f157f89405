#include "manage/Registrar.h"

#include <algorithm>

#include <fmt/format.h>

#include "brenic/MessageClasses.h"
#include "brenic/MessageFactory.h"
#include "farm/TextCheck.h"
#include "manage/Addresses.h"
#include "manage/AuthorityKeys.h"
#include "manage/Certificates.h"
#include "manage/ClientCredentials.h"
#include "rlib/Escape.h"
#include "store/RevokedFile.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

constexpr int64_t k_Day = 24 * 60 * 60 * 1000; // milliseconds
constexpr int k_MostDays = k_AuthorityDays;

std::string Date(int64_t time) {
  return Time(time).Format("%Y-%m-%d").str();
}

std::string Quoted(const String& name) {
  return "'" + rlib::Excerpt(name).str() + "'";
}

/// What a request about certificates is decided by.
struct Office {
  const Path& m_Folder;
  Store& m_Store;
  int64_t m_Now;
};

bool IsAccepted(const ClientRecord& client, int64_t now) {
  return !client.m_Revoked && (!client.m_Expires || *client.m_Expires > now);
}

const Authority* Find(const MasterRecord& master, int64_t number) {
  const auto found = std::find_if(master.m_Authorities.begin(), master.m_Authorities.end(),
                                  [&](const Authority& authority) { return authority.m_Number == number; });
  return found == master.m_Authorities.end() ? nullptr : &*found;
}

/// The one that signs the Master's own certificate as long as clients trust no other.
const Authority& OfServer(const MasterRecord& master) {
  const Authority* const authority = Find(master, master.m_ServerAuthority);
  return authority ? *authority : master.m_Authorities.back();
}

Result<> CheckSigns(const Authority& authority, int64_t now) {
  if (authority.m_Credential.m_Key.empty())
    return Failure(
        "This Master does not hold the authority's key: ask where it is held, or bring it here with "
        "brenic-master authority --import");
  if (const int64_t end = ValidityOf(authority.m_Credential.m_Certificate).m_End; end <= now)
    return Failure(fmt::format(
        "The authority ended on {}; make a new one with brenic-master authority --renew", Date(end)));
  return {};
}

// --- clients

Result<> CheckIssue(const IssueClientMsg& request, const std::vector<ClientRecord>& same) {
  if (const auto name = NameProblem("client", request.m_Name))
    return Failure(*name);
  const bool isTaken =
      std::any_of(same.begin(), same.end(), [](const ClientRecord& client) { return !client.m_Revoked; });
  if (isTaken && !request.m_Renew)
    return Failure(
        fmt::format("There is already a client {}; give it a new certificate with --renew, or take "
                    "another name",
                    Quoted(request.m_Name)));
  if (same.empty() && request.m_Renew)
    return Failure(
        fmt::format("There is no client {} whose certificate could be renewed", Quoted(request.m_Name)));
  if (!request.m_Role.empty() && request.m_Role != RoleName(RoleOf(request.m_Role.str())))
    return Failure(
        fmt::format("There is no role {}; a client is administrator or component", Quoted(request.m_Role)));
  if (request.m_Role.empty() && !request.m_Renew)
    return Failure("A new client needs a role: administrator or component");
  if (std::abs(request.m_Days) > k_MostDays)
    return Failure(fmt::format("A certificate is valid for at most {} days", k_MostDays));
  if (request.m_Overlap < 0 || request.m_Overlap > k_MostDays)
    return Failure(fmt::format("The overlap is 0 to {} days", k_MostDays));
  return {};
}

/// Ends what the client has, with an overlap, and gives it the role; what was done, to follow a sentence.
std::string Supersede(const Office& office, const std::vector<ClientRecord>& same,
                      const IssueClientMsg& request, Role role, std::vector<std::string>& dismissed) {
  const int64_t end = office.m_Now + request.m_Overlap * k_Day;
  std::string done;
  for (ClientRecord client : same) {
    if (!IsAccepted(client, office.m_Now))
      continue;
    client.m_Expires = std::min(client.m_Expires.value_or(end), end);
    if (client.m_Role != role) {
      dismissed.push_back(client.m_Serial);
      client.m_Role = role;
    }
    office.m_Store.ReplaceClient(client);
    done += fmt::format("; the one with the serial number {} ends on {}", client.m_Serial,
                        Date(*client.m_Expires));
  }
  if (!dismissed.empty())
    done += fmt::format("; {} of them had another role, and loses it now", dismissed.size());
  return done;
}

Result<Managed> RegisterAs(const Office& office, const IssueClientMsg& request) {
  const std::vector<ClientRecord> same = office.m_Store.ClientsNamed(request.m_Name);
  if (const auto check = CheckIssue(request, same); !check)
    return check.Why();
  const MasterRecord master = office.m_Store.LoadMaster();
  const Authority& authority = master.m_Authorities.back();
  if (const auto check = CheckSigns(authority, office.m_Now); !check)
    return check.Why();
  const Role role = request.m_Role.empty() ? same.back().m_Role : RoleOf(request.m_Role.str());
  const Validity validity = Validity::Days(request.m_Days ? request.m_Days : k_CertificateDays, office.m_Now)
                                .Within(authority.m_Credential.m_Certificate);
  const Issued issued =
      IssueClientFor(authority.m_Credential, request.m_Name, request.m_PublicKey.str(), validity);

  Managed managed;
  managed.m_Done =
      fmt::format("Issued a certificate for the {} {} with the serial number {}, valid until {}{}",
                  RoleName(role), Quoted(request.m_Name), issued.m_Serial, Date(validity.m_End),
                  Supersede(office, same, request, role, managed.m_Dismissed));
  office.m_Store.AddClient(
      {issued.m_Serial, request.m_Name, role, authority.m_Number, validity.m_Begin, validity.m_End, {}, {}});
  const auto reply = MessageFactory::Create<IssuedClientMsg>();
  reply->m_Certificate = issued.m_Credential.m_Certificate;
  reply->m_Authorities = master.TrustedCertificates();
  reply->m_Address = AddressForClients(office.m_Folder, master);
  managed.m_Reply = reply;
  return managed;
}

/// Before it is committed: a backup that is restored knows nothing of it.
Result<> TellRestores(const Office& office, const std::vector<ClientRecord>& clients) {
  std::vector<Revocation> revocations;
  for (const ClientRecord& client : clients) {
    if (!client.m_Revoked)
      revocations.push_back({office.m_Now, client.m_Serial, rlib::Excerpt(client.m_Name)});
  }
  try {
    AppendRevocations(RevokedFile(office.m_Folder), revocations);
    return {};
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    return Failure("Nothing was revoked, since a restored backup could not be told: " + error->Message());
  }
}

Result<Managed> RegisterAs(const Office& office, const RevokeClientMsg& request) {
  std::vector<ClientRecord> meant;
  String serial = request.m_Client;
  std::string lower = serial.str();
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (const auto client = office.m_Store.FindClient(lower))
    meant.push_back(*client);
  else
    meant = office.m_Store.ClientsNamed(request.m_Client);
  if (meant.empty())
    return Failure(fmt::format("There is no client and no certificate {}; brenic-master clients lists them",
                               Quoted(request.m_Client)));
  if (const auto told = TellRestores(office, meant); !told)
    return told.Why();
  Managed managed;
  std::string serials;
  for (ClientRecord& client : meant) {
    if (client.m_Revoked)
      continue;
    client.m_Revoked = office.m_Now;
    office.m_Store.ReplaceClient(client);
    managed.m_Dismissed.push_back(client.m_Serial);
    serials += (serials.empty() ? "" : ", ") + client.m_Serial;
  }
  if (managed.m_Dismissed.empty())
    return Failure(fmt::format("{} of {} {} revoked already",
                               meant.size() == 1 ? "The certificate" : "All certificates",
                               Quoted(meant.front().m_Name), meant.size() == 1 ? "is" : "are"));
  managed.m_Done = fmt::format("Revoked {} of {}, with the serial number {}",
                               managed.m_Dismissed.size() == 1 ? "the certificate" : "the certificates",
                               Quoted(meant.front().m_Name), serials);
  return managed;
}

// --- the Master itself

void ReplaceServer(const Office& office, const MasterRecord& master, const Authority& authority,
                   const std::vector<std::string>& hosts) {
  const Validity validity =
      Validity::Days(k_CertificateDays, office.m_Now).Within(authority.m_Credential.m_Certificate);
  office.m_Store.ReplaceServerCredential(
      IssueServer(authority.m_Credential, master.m_Name, hosts, validity).m_Credential, authority.m_Number);
}

Result<Managed> RegisterAs(const Office& office, const ChangeHostsMsg& request) {
  const MasterRecord master = office.m_Store.LoadMaster();
  std::vector<std::string> hosts = HostsOf(master.m_Server);
  const auto find = [&](const String& host) { return std::find(hosts.begin(), hosts.end(), host.str()); };
  for (const String& host : request.m_Remove) {
    if (find(host) == hosts.end())
      return Failure(fmt::format("The Master's certificate is not valid for {}", Quoted(host)));
    hosts.erase(find(host));
  }
  std::vector<std::string> added;
  for (const String& host : request.m_Add) {
    if (const auto problem = HostProblem(host.str()))
      return Failure(*problem);
    if (find(host) == hosts.end() && std::find(added.begin(), added.end(), host.str()) == added.end())
      added.push_back(host.str());
  }
  hosts.insert(hosts.begin(), added.begin(), added.end());
  if (hosts.empty())
    return Failure("A Master that is valid for no host could be reached by nobody");
  if (hosts == HostsOf(master.m_Server))
    return Failure("The Master's certificate is valid for these hosts already");
  const Authority& authority = OfServer(master);
  if (const auto check = CheckSigns(authority, office.m_Now); !check)
    return check.Why();
  ReplaceServer(office, master, authority, hosts);

  Managed managed;
  const String before = AddressForClients(office.m_Folder, master);
  const String after = AddressAmong(hosts, before);
  if (after != master.m_Address)
    office.m_Store.SetAddress(after);
  managed.m_Done = fmt::format("The Master's certificate is valid for {}; new credentials name {}",
                               fmt::join(hosts, ", "), after.str());
  return managed;
}

Result<Managed> RegisterAs(const Office& office, const RenewAuthorityMsg&) {
  const MasterRecord master = office.m_Store.LoadMaster();
  const std::vector<ClientRecord> clients = office.m_Store.Clients();
  if (master.m_Authorities.size() > 1) {
    const auto end = LastEnd(clients, master.m_Authorities.front(), office.m_Now);
    return Failure(fmt::format("A new authority signs already; the earlier one is trusted until {}",
                               end ? Date(*end) : "the next look at the certificates, within an hour"));
  }
  const Authority& earlier = master.m_Authorities.back();
  const Credential authority = MakeAuthority("Brenic authority " + master.m_ID.ToString(),
                                             Validity::Days(k_AuthorityDays, office.m_Now));
  office.m_Store.AddAuthority(authority);
  const auto end = LastEnd(clients, earlier, office.m_Now);
  Managed managed;
  managed.m_Done = fmt::format(
      "Made a new authority, valid until {}. Credentials that are issued from now on trust both; {}",
      Date(ValidityOf(authority.m_Certificate).m_End),
      end ? fmt::format("until {}, when the last certificate of the earlier one ends, the Master presents a "
                        "certificate of the earlier one: renew all clients by then",
                        Date(*end))
          : std::string("nobody holds a certificate of the earlier one any more"));
  return managed;
}

Result<Managed> RegisterAs(const Office& office, const MoveAuthorityMsg& request) {
  const auto moved = MoveAuthority(office.m_Store, request.m_Keys.str());
  // The backup that this Master was restored from held no keys.
  const MasterRecord master = office.m_Store.LoadMaster();
  if (const Authority& authority = OfServer(master);
      moved && master.m_Server.m_Key.empty() && !authority.m_Credential.m_Key.empty())
    ReplaceServer(office, master, authority, HostsOf(master.m_Server));
  return moved;
}

/// What of the Master's own is to be renewed.
struct Due {
  std::vector<Authority> m_Ended;     // earlier ones of which no client holds a certificate
  const Authority* m_Signs = nullptr; // a new certificate of the Master; null: none is needed
};

Due WhatIsDue(const MasterRecord& master, const std::vector<ClientRecord>& clients, int64_t now) {
  Due due;
  for (size_t i = 0; i + 1 < master.m_Authorities.size(); ++i) {
    if (!LastEnd(clients, master.m_Authorities[i], now))
      due.m_Ended.push_back(master.m_Authorities[i]);
  }
  const Authority* signs = Find(master, master.m_ServerAuthority);
  const auto isEnded = [&](const Authority& ended) { return signs && ended.m_Number == signs->m_Number; };
  const bool mustChange = !signs || std::any_of(due.m_Ended.begin(), due.m_Ended.end(), isEnded);
  if (mustChange)
    signs = &master.m_Authorities.back();
  const Credential& authority = signs->m_Credential;
  if (authority.m_Key.empty())
    return due;
  const int64_t end = ValidityOf(master.m_Server.m_Certificate).m_End;
  const Validity next = Validity::Days(k_CertificateDays, now).Within(authority.m_Certificate);
  // Towards the authority's end a new certificate would gain nothing.
  if (mustChange || (end < now + k_RenewalDays * k_Day && next.m_End > end + k_Day))
    due.m_Signs = signs;
  return due;
}

Result<Managed> RegisterAs(const Office& office, const RenewMasterMsg&) {
  const MasterRecord master = office.m_Store.LoadMaster();
  const Due due = WhatIsDue(master, office.m_Store.Clients(), office.m_Now);
  Managed managed;
  if (due.m_Signs) {
    ReplaceServer(office, master, *due.m_Signs, HostsOf(master.m_Server));
    managed.m_Done = fmt::format("Renewed the Master's certificate, which was valid until {}",
                                 Date(ValidityOf(master.m_Server.m_Certificate).m_End));
  }
  const int64_t shown = due.m_Signs ? due.m_Signs->m_Number : master.m_ServerAuthority;
  for (const Authority& ended : due.m_Ended) {
    if (ended.m_Number == shown)
      continue; // without the key of the next one
    office.m_Store.RemoveAuthority(ended.m_Number);
    managed.m_Done += managed.m_Done.empty() ? "" : ". ";
    managed.m_Done += "The earlier authority is not trusted any more: no client has a certificate of it";
  }
  if (managed.m_Done.empty())
    return Failure("Nothing of the Master's own certificates is to be renewed");
  return managed;
}

} // namespace

std::optional<int64_t> LastEnd(const std::vector<ClientRecord>& clients, const Authority& authority,
                               int64_t now) {
  std::optional<int64_t> last;
  for (const ClientRecord& client : clients) {
    if (client.m_Authority != authority.m_Number || client.m_Revoked)
      continue;
    const int64_t end =
        client.m_Expires ? *client.m_Expires : ValidityOf(authority.m_Credential.m_Certificate).m_End;
    if (end > now)
      last = std::max(last.value_or(end), end);
  }
  return last;
}

bool IsRenewalDue(Store& store, int64_t now) {
  const MasterRecord master = store.LoadMaster();
  const Due due = WhatIsDue(master, store.Clients(), now);
  return due.m_Signs || std::any_of(due.m_Ended.begin(), due.m_Ended.end(), [&](const Authority& ended) {
           return ended.m_Number != master.m_ServerAuthority;
         });
}

Result<Managed> Register(const Path& folder, Store& store, const Message& message, int64_t now) {
  const Office office{folder, store, now};
  return VisitMessage(message, [&]<typename Class>(const Class& typed) -> Result<Managed> {
    if constexpr (Class::k_Description.m_Sender == Sender::k_Manager)
      return RegisterAs(office, typed);
    else
      return Failure("This is no request about certificates");
  });
}

} // namespace brenic::master
