#include "manage/CredentialPrinting.h"

#include <fmt/core.h>

#include "manage/Addresses.h"
#include "manage/Certificates.h"
#include "manage/Endings.h"
#include "manage/Json.h"
#include "manage/Registrar.h"
#include "rlib/Escape.h"
#include "rlib/Version.h"

namespace brenic::master {

namespace {

Json TimeJson(const std::optional<int64_t>& time) {
  return time ? Json(Time(*time).Iso8601().str()) : Json();
}

std::string Date(const std::optional<int64_t>& time) {
  return time ? Time(*time).Format("%Y-%m-%d").str() : "unknown";
}

std::string Shown(const String& text) {
  return rlib::EscapeControls(text).str();
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
    return "revoked " + Date(client.m_Revoked);
  if (!client.m_Expires)
    return "until the date in its certificate, which is known once it was shown";
  if (*client.m_Expires <= now)
    return "ended " + Date(client.m_Expires);
  const int days = DaysUntil(*client.m_Expires, now);
  return fmt::format("until {}{}", Date(client.m_Expires),
                     days < 60 ? fmt::format(", ends in {} days", days) : std::string());
}

struct AuthorityFacts {
  Validity m_Validity;
  size_t m_Clients = 0; // that hold a certificate of it which is accepted
  std::optional<int64_t> m_LastEnd;
};

AuthorityFacts FactsOf(const Authority& authority, const std::vector<ClientRecord>& clients, int64_t now) {
  AuthorityFacts facts{ValidityOf(authority.m_Credential.m_Certificate), 0, LastEnd(clients, authority, now)};
  for (const ClientRecord& client : clients) {
    if (client.m_Authority == authority.m_Number && !client.m_Revoked &&
        client.m_Expires.value_or(now + 1) > now)
      ++facts.m_Clients;
  }
  return facts;
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
      if (accepted == (!client.m_Revoked && client.m_Expires.value_or(now + 1) > now))
        lines.push_back(fmt::format("{}  {}  {}  issued {}, {}; {}", Shown(client.m_Name),
                                    RoleName(client.m_Role), client.m_Serial, Date(client.m_Issued),
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
                              Date(ValidityOf(master.m_Server.m_Certificate).m_End)));
  return lines;
}

Lines AuthoritiesJson(Store& store, int64_t now) {
  const MasterRecord master = store.LoadMaster();
  const std::vector<ClientRecord> clients = store.Clients();
  Lines lines;
  for (const Authority& authority : master.m_Authorities) {
    const AuthorityFacts facts = FactsOf(authority, clients, now);
    lines.push_back(ToLine({{"number", authority.m_Number},
                            {"serial", SerialOfPem(authority.m_Credential.m_Certificate)},
                            {"issued", TimeJson(facts.m_Validity.m_Begin)},
                            {"expires", TimeJson(facts.m_Validity.m_End)},
                            {"signs", &authority == &master.m_Authorities.back()},
                            {"keyIsHere", !authority.m_Credential.m_Key.empty()},
                            {"clients", facts.m_Clients},
                            {"lastClientEnds", TimeJson(facts.m_LastEnd)}}));
  }
  return lines;
}

Lines AuthoritiesText(Store& store, int64_t now) {
  const MasterRecord master = store.LoadMaster();
  const std::vector<ClientRecord> clients = store.Clients();
  Lines lines;
  for (const Authority& authority : master.m_Authorities) {
    const AuthorityFacts facts = FactsOf(authority, clients, now);
    std::string line =
        fmt::format("Authority {}, {}: valid until {}, {}; {} certificates of clients", authority.m_Number,
                    SerialOfPem(authority.m_Credential.m_Certificate), Date(facts.m_Validity.m_End),
                    &authority == &master.m_Authorities.back() ? "signs" : "still trusted", facts.m_Clients);
    if (facts.m_LastEnd)
      line += fmt::format(", the last of which ends on {}", Date(facts.m_LastEnd));
    lines.push_back(line + (authority.m_Credential.m_Key.empty() ? "; its key is not here" : ""));
  }
  return lines;
}

} // namespace brenic::master
