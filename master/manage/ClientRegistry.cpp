// Who gets a certificate, and whose ends.
#include <algorithm>
#include <array>
#include <cctype>

#include <pwd.h>
#include <sys/stat.h>

#include "brenic/MessageFactory.h"
#include "farm/TextCheck.h"
#include "manage/Addresses.h"
#include "manage/CertificateWords.h"
#include "manage/ClientCredentials.h"
#include "manage/Endings.h"
#include "manage/Office.h"
#include "store/RevokedFile.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

constexpr int k_MostDays = k_AuthorityDays;

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

/// What names have in common that people take for the same.
std::string Likeness(const String& name) {
  std::string text = LowerCase(name.str());
  std::erase(text, ' ');
  return text;
}

/// The user of the machine that the data folder belongs to; empty when it has no name.
String OwnerOf(const Path& folder) {
  struct stat info {};
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> buffer;
  const bool isKnown = stat(folder.c_str(), &info) == 0 &&
                       getpwuid_r(info.st_uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found;
  return isKnown ? String(entry.pw_name) : String();
}

/// Whether a new name would be taken for what the audit trail calls the Master and its machine's users.
Result<> CheckHonest(const Office& office, const String& name) {
  if (const auto visible = CheckVisible(name); !visible)
    return Failure("The client's name cannot be used: it " + visible.Reason());
  const std::string likeness = Likeness(name.str().substr(0, name.str().find('@')));
  for (const String& taken :
       {String("brenic-master"), String("master"), String("root"), OwnerOf(office.m_Folder)}) {
    if (!taken.empty() && likeness == Likeness(taken))
      return Failure(
          fmt::format("A client {} would be taken for {}, which is the Master itself or a user of its "
                      "machine, in 'brenic-master history'; take another name",
                      Quoted(name), Quoted(taken)));
  }
  if (likeness.starts_with("uid:"))
    return Failure(fmt::format("A client {} would be taken for a user of the Master's machine in "
                               "'brenic-master history'; take another name",
                               Quoted(name)));
  return {};
}

/// Whether a new name can be told from what else `revoke` takes.
Result<> CheckDistinct(const Office& office, const String& name) {
  if (const auto honest = CheckHonest(office, name); !honest)
    return honest.Why();
  if (const auto other = office.m_Store.FindClient(LowerCase(name.str())))
    return Failure(fmt::format("The name {} is the serial number of a certificate of {}; take another name",
                               Quoted(name), Quoted(other->m_Name)));
  for (const ClientRecord& client : office.m_Store.Clients()) {
    if (!client.m_Revoked && client.m_Name != name && Likeness(client.m_Name) == Likeness(name))
      return Failure(fmt::format("There is already a client {}, from which {} differs only in spaces or "
                                 "case; take another name",
                                 Quoted(client.m_Name), Quoted(name)));
  }
  return {};
}

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
  // Without an overlap it ends now, whatever the machine's clock says.
  const int64_t end =
      request.m_Overlap == 0 ? office.m_Now : office.m_Moment.Later() + request.m_Overlap * k_Day;
  std::vector<EndTold> superseded;
  for (ClientRecord client : same) {
    if (!IsAccepted(client, office.m_Now))
      continue;
    client.m_Expires = std::min(client.m_Expires.value_or(end), end);
    if (client.m_Role != role) {
      dismissed.push_back(client.m_Serial);
      client.m_Role = role;
    }
    office.m_Store.ReplaceClient(client);
    superseded.push_back({client.m_Serial, DateText(*client.m_Expires)});
  }
  std::string done = SupersededWords(superseded);
  if (!dismissed.empty())
    done += fmt::format("; {} of them had another role, and loses it now", dismissed.size());
  return done;
}

/// Before it is committed: a backup that is restored knows nothing of it.
Result<> TellRestores(const Office& office, const std::vector<ClientRecord>& clients) {
  std::vector<Revocation> revocations;
  for (const ClientRecord& client : clients) {
    if (!client.m_Revoked)
      revocations.push_back({office.m_Now, client.m_Serial, rlib::Excerpt(client.m_Name)});
  }
  try {
    CompleteRevoked(RevokedFile(office.m_Folder), revocations, office.m_Store);
    return {};
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    return Failure("Nothing was revoked, since a restored backup could not be told: " + error->Message() +
                   ". Where no better copy is found, move the file away and revoke again: it is made anew "
                   "with all that is known to be revoked");
  }
}

} // namespace

Result<Managed> RegisterAs(const Office& office, const IssueClientMsg& request) {
  const std::vector<ClientRecord> same = office.m_Store.ClientsNamed(request.m_Name);
  if (const auto check = CheckIssue(request, same); !check)
    return check.Why();
  if (const auto check = request.m_Renew ? Result<>() : CheckDistinct(office, request.m_Name); !check)
    return check.Why();
  const MasterRecord master = office.m_Store.LoadMaster();
  const Authority& authority = master.m_Authorities.back();
  if (const auto check = CheckSigns(authority, office.m_Now); !check)
    return check.Why();
  const Role role = request.m_Role.empty() ? same.back().m_Role : RoleOf(request.m_Role.str());
  const Validity validity = ValidityFor(request.m_Days ? request.m_Days : k_CertificateDays, office.m_Moment,
                                        authority.m_Credential);
  const Issued issued =
      IssueClientFor(authority.m_Credential, request.m_Name, request.m_PublicKey.str(), validity);

  // What can be thrown comes before the first write.
  const String address = AddressForClients(office.m_Folder, master);
  Managed managed;
  managed.m_Done = IssuedWords(request.m_Name, role, issued.m_Serial, validity.m_End) +
                   Supersede(office, same, request, role, managed.m_Dismissed) + DoubtText(office.m_Moment);
  office.m_Store.AddClient({issued.m_Serial,
                            request.m_Name,
                            role,
                            authority.m_Number,
                            std::min(office.m_Now, validity.m_End),
                            validity.m_End,
                            {},
                            {}});
  const auto reply = MessageFactory::Create<IssuedClientMsg>();
  reply->m_Certificate = issued.m_Credential.m_Certificate;
  reply->m_Authorities = master.TrustedCertificates();
  reply->m_Address = address;
  managed.m_Reply = reply;
  return managed;
}

Result<Managed> RegisterAs(const Office& office, const RevokeClientMsg& request) {
  std::vector<ClientRecord> meant = office.m_Store.ClientsNamed(request.m_Client);
  if (const auto client = office.m_Store.FindClient(LowerCase(request.m_Client.str()))) {
    if (!meant.empty())
      return Failure(fmt::format("{} is the name of a client, and the serial number of a certificate of {}: "
                                 "revoke the former by the serial numbers of its certificates (brenic-master "
                                 "clients lists them), the latter by its name",
                                 Quoted(request.m_Client), Quoted(client->m_Name)));
    meant.push_back(*client);
  }
  if (meant.empty())
    return Failure(fmt::format("There is no client and no certificate {}; brenic-master clients lists them",
                               Quoted(request.m_Client)));
  if (const auto told = TellRestores(office, meant); !told)
    return told.Why();
  Managed managed;
  for (ClientRecord& client : meant) {
    if (client.m_Revoked)
      continue;
    client.m_Revoked = office.m_Now;
    office.m_Store.ReplaceClient(client);
    managed.m_Dismissed.push_back(client.m_Serial);
  }
  if (managed.m_Dismissed.empty())
    return Failure(fmt::format("{} of {} {} revoked already",
                               meant.size() == 1 ? "The certificate" : "All certificates",
                               Quoted(meant.front().m_Name), meant.size() == 1 ? "is" : "are"));
  managed.m_Done = RevokedWords(meant.front().m_Name, managed.m_Dismissed);
  return managed;
}

} // namespace brenic::master
