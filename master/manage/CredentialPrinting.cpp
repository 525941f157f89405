#include "manage/CredentialPrinting.h"

#include <algorithm>

#include <fmt/core.h>

#include "manage/Addresses.h"
#include "manage/Certificates.h"
#include "manage/Endings.h"
#include "manage/Json.h"
#include "manage/Registrar.h"
#include "manage/Words.h"
#include "rlib/Version.h"

namespace brenic::master {

namespace {

Json TimeJson(const std::optional<int64_t>& time) {
  return time ? Json(Time(*time).Iso8601().str()) : Json();
}

std::string SeenText(const ClientRecord& client) {
  if (!client.m_LastSeen)
    return "not seen";
  const auto& seen = *client.m_LastSeen;
  return fmt::format("seen {} from {} as {} {}", Time(seen.m_Time).Format(rlib::k_DefaultDateTime).str(),
                     Shown(seen.m_Address), Shown(seen.m_Program), rlib::VER_STRING(seen.m_Version).str());
}

std::string StandingText(const ClientRecord& client, int64_t now) {
  if (client.m_Revoked)
    return "revoked " + DateText(*client.m_Revoked);
  if (!client.m_Expires)
    return "until the date in its certificate, which is known once it was shown";
  if (*client.m_Expires <= now)
    return "ended " + DateText(*client.m_Expires);
  const int days = DaysUntil(*client.m_Expires, now);
  const std::string left = days == 0 ? "less than a day" : days == 1 ? "1 day" : fmt::format("{} days", days);
  return fmt::format("until {}{}", DateText(*client.m_Expires), days < 60 ? ", ends in " + left : "");
}

/// What is told of an authority.
struct AuthorityFacts {
  int64_t m_Number = 0;
  std::string m_Serial;
  Validity m_Validity;
  bool m_Signs = false;
  bool m_HasKey = false;        // here
  std::ptrdiff_t m_Clients = 0; // that hold a certificate of it which is accepted
  std::optional<int64_t> m_LastEnd;
};

std::vector<AuthorityFacts> AuthoritiesOf(Store& store, int64_t now) {
  const MasterRecord master = store.LoadMaster();
  const std::vector<ClientRecord> clients = store.Clients();
  std::vector<AuthorityFacts> all;
  for (const Authority& authority : master.m_Authorities) {
    const Credential& credential = authority.m_Credential;
    const auto holds = [&](const ClientRecord& client) {
      return client.m_Authority == authority.m_Number && IsAccepted(client, now);
    };
    all.push_back({authority.m_Number, SerialOfPem(credential.m_Certificate),
                   ValidityOf(credential.m_Certificate), &authority == &master.m_Authorities.back(),
                   !credential.m_Key.empty(), std::count_if(clients.begin(), clients.end(), holds),
                   LastEnd(clients, authority, now)});
  }
  return all;
}

} // namespace

Lines ClientsJson(const std::vector<ClientRecord>& clients) {
  Lines lines;
  for (const ClientRecord& client : clients) {
    Json json{{"name", client.m_Name.str()},
              {"serial", client.m_Serial},
              {"role", RoleName(client.m_Role)},
              {"issued", TimeJson(client.m_Issued)},
              {"expires", TimeJson(client.m_Expires)},
              {"revoked", TimeJson(client.m_Revoked)},
              {"lastSeen", nullptr}};
    if (const auto& seen = client.m_LastSeen)
      json["lastSeen"] = {{"time", TimeJson(seen->m_Time)},
                          {"address", seen->m_Address},
                          {"program", seen->m_Program.str()},
                          {"version", rlib::VER_STRING(seen->m_Version).str()}};
    lines.push_back(ToLine(json));
  }
  return lines;
}

Lines ClientsText(const std::vector<ClientRecord>& clients, int64_t now) {
  Lines lines;
  for (const bool accepted : {true, false}) {
    for (const ClientRecord& client : clients) {
      if (accepted == IsAccepted(client, now))
        lines.push_back(fmt::format("{}  {}  {}  issued {}, {}; {}", Shown(client.m_Name),
                                    RoleName(client.m_Role), client.m_Serial,
                                    client.m_Issued ? DateText(*client.m_Issued) : "unknown",
                                    StandingText(client, now), SeenText(client)));
    }
  }
  return lines;
}

Lines HostsJson(const Path& dataFolder, const MasterRecord& master) {
  return {ToLine({{"hosts", HostsOf(master.m_Server)},
                  {"address", AddressForClients(dataFolder, master).str()},
                  {"expires", TimeJson(ValidityOf(master.m_Server.m_Certificate).m_End)}})};
}

Lines HostsText(const Path& dataFolder, const MasterRecord& master) {
  Lines lines;
  for (const std::string& host : HostsOf(master.m_Server))
    lines.push_back(Shown(String(host)));
  lines.push_back(fmt::format("New credentials name {}; the Master's certificate is valid until {}",
                              Shown(AddressForClients(dataFolder, master)),
                              DateText(ValidityOf(master.m_Server.m_Certificate).m_End)));
  return lines;
}

Lines AuthoritiesJson(Store& store, int64_t now) {
  Lines lines;
  for (const AuthorityFacts& authority : AuthoritiesOf(store, now))
    lines.push_back(ToLine({{"number", authority.m_Number},
                            {"serial", authority.m_Serial},
                            {"issued", TimeJson(authority.m_Validity.m_Begin)},
                            {"expires", TimeJson(authority.m_Validity.m_End)},
                            {"signs", authority.m_Signs},
                            {"keyIsHere", authority.m_HasKey},
                            {"clients", authority.m_Clients},
                            {"lastClientEnds", TimeJson(authority.m_LastEnd)}}));
  return lines;
}

Lines AuthoritiesText(Store& store, int64_t now) {
  Lines lines;
  for (const AuthorityFacts& authority : AuthoritiesOf(store, now)) {
    std::string line =
        fmt::format("Authority {}, {}: valid until {}, {}; {} certificates of clients", authority.m_Number,
                    authority.m_Serial, DateText(authority.m_Validity.m_End),
                    authority.m_Signs ? "signs" : "still trusted", authority.m_Clients);
    if (authority.m_LastEnd)
      line += fmt::format(", the last of which ends on {}", DateText(*authority.m_LastEnd));
    lines.push_back(line + (authority.m_HasKey ? "" : "; its key is not here"));
  }
  return lines;
}

} // namespace brenic::master
