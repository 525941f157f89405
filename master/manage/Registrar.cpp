#include "manage/Registrar.h"

#include <algorithm>

#include "brenic/MessageClasses.h"
#include "manage/Addresses.h"
#include "manage/AuthorityKeys.h"
#include "manage/Office.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

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

void ReplaceServer(const Office& office, const MasterRecord& master, const Authority& authority,
                   const std::vector<std::string>& hosts) {
  const Validity validity = ValidityFor(k_CertificateDays, office.m_Moment, authority.m_Credential);
  office.m_Store.ReplaceServerCredential(
      IssueServer(authority.m_Credential, master.m_Name, EachHostOnce(hosts), validity).m_Credential,
      authority.m_Number);
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

} // namespace

Result<> CheckSigns(const Authority& authority, int64_t now) {
  if (authority.m_Credential.m_Key.empty())
    return Failure(fmt::format("This Master does not hold the key of authority {}: ask where it is held, or "
                               "bring it here with brenic-master authority --import",
                               authority.m_Number));
  if (const int64_t end = ValidityOf(authority.m_Credential.m_Certificate).m_End; end <= now)
    return Failure(
        fmt::format("Authority {} ended on {}; make a new one with brenic-master authority --renew",
                    authority.m_Number, DateText(end)));
  return {};
}

Validity ValidityFor(int days, const Moment& moment, const Credential& authority) {
  Validity validity = Validity::Days(days, moment.Later());
  validity.m_Begin = std::min(validity.m_Begin, moment.Earlier());
  return validity.Within(authority.m_Certificate);
}

std::string DoubtText(const Moment& moment) {
  if (!moment.m_IsInDoubt)
    return {};
  return fmt::format(
      "; the machine's clock is in doubt, so days are counted from {}, the later of what it says "
      "and what is believed",
      DateText(moment.Later()));
}

Result<Managed> RegisterAs(const Office& office, const ChangeHostsMsg& request) {
  const MasterRecord master = office.m_Store.LoadMaster();
  std::vector<std::string> hosts = EachHostOnce(HostsOf(master.m_Server));
  for (const String& host : request.m_Remove) {
    if (std::erase_if(hosts, [&](const std::string& other) { return IsSameHost(other, host.str()); }) == 0)
      return Failure(fmt::format("The Master's certificate is not valid for {}", Quoted(host)));
  }
  std::vector<std::string> added;
  for (const String& host : request.m_Add) {
    if (const auto problem = HostProblem(host.str()))
      return Failure(*problem);
    const auto isSame = [&](const std::string& other) { return IsSameHost(other, host.str()); };
    if (std::none_of(hosts.begin(), hosts.end(), isSame))
      added.push_back(host.str());
  }
  added = EachHostOnce(added);
  hosts.insert(hosts.begin(), added.begin(), added.end());
  constexpr size_t k_MostHosts = 100; // a longer certificate is not taken by clients at some point
  if (hosts.size() > k_MostHosts)
    return Failure(fmt::format("The Master's certificate is valid for at most {} hosts", k_MostHosts));
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
                               Listed(hosts), after.str());
  return managed;
}

Result<Managed> RegisterAs(const Office& office, const RenewAuthorityMsg&) {
  const MasterRecord master = office.m_Store.LoadMaster();
  const std::vector<ClientRecord> clients = office.m_Store.Clients();
  if (master.m_Authorities.size() > 1) {
    const auto end = LastEnd(clients, master.m_Authorities.front(), office.m_Now);
    return Failure(fmt::format("A new authority signs already; the earlier one is trusted until {}",
                               end ? DateText(*end) : "the next look at the certificates, within an hour"));
  }
  const Authority& earlier = master.m_Authorities.back();
  // By what is believed alone: a clock that is far ahead makes no authority for a century.
  Validity validity = Validity::Days(k_AuthorityDays, office.m_Now);
  validity.m_Begin = office.m_Moment.Earlier();
  const Credential authority = MakeAuthority("Brenic authority " + master.m_ID.ToString(), validity);
  office.m_Store.AddAuthority(authority);
  const auto end = LastEnd(clients, earlier, office.m_Now);
  Managed managed;
  managed.m_Done = fmt::format(
      "Made a new authority, valid until {}. Credentials that are issued from now on trust both; {}",
      DateText(ValidityOf(authority.m_Certificate).m_End),
      end ? fmt::format("until {}, when the last certificate of the earlier one ends, the Master presents a "
                        "certificate of the earlier one: renew all clients by then",
                        DateText(*end))
          : std::string("nobody holds a certificate of the earlier one any more"));
  if (const Authority& presented = OfServer(master); end && presented.m_Credential.m_Key.empty())
    managed.m_Done +=
        fmt::format(". The key of authority {0} is not here: until it is imported, the Master's "
                    "own certificate, of authority {0} and valid until {1}, can neither be "
                    "renewed nor be issued for another host",
                    presented.m_Number, DateText(ValidityOf(master.m_Server.m_Certificate).m_End));
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

Result<Managed> RegisterAs(const Office& office, const RenewMasterMsg&) {
  const MasterRecord master = office.m_Store.LoadMaster();
  const Due due = WhatIsDue(master, office.m_Store.Clients(), office.m_Now);
  Managed managed;
  if (due.m_Signs) {
    ReplaceServer(office, master, *due.m_Signs, HostsOf(master.m_Server));
    managed.m_Done = fmt::format("Renewed the Master's certificate, which was valid until {}",
                                 DateText(ValidityOf(master.m_Server.m_Certificate).m_End));
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

Result<Managed> Register(const Path& folder, Store& store, const Message& message, const Moment& moment) {
  const Office office{folder, store, moment};
  try {
    return VisitMessage(message, [&]<typename Class>(const Class& typed) -> Result<Managed> {
      if constexpr (Class::k_Description.m_Sender == Sender::k_Manager)
        return RegisterAs(office, typed);
      else
        return Failure("This is no request about certificates");
    });
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    return Failure(error->Message());
  }
}

} // namespace brenic::master
