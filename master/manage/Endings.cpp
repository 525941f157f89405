#include "manage/Endings.h"

#include <algorithm>
#include <limits>

#include <fmt/core.h>

#include "manage/Certificates.h"
#include "manage/Words.h"

namespace brenic::master {

namespace {

constexpr int k_Thresholds[] = {1, 7, 14, 30, 60}; // days

std::string Days(int days) {
  return days == 1 ? "1 day" : fmt::format("{} days", days);
}

String ClientsLine(int days, const std::vector<ClientRecord>& clients) {
  std::vector<std::string> names;
  for (const ClientRecord& client : clients)
    names.push_back(Quoted(client.m_Name) + " on " + DateText(*client.m_Expires));
  return fmt::format(
      "{} of clients end within {}: {}. Renew each with brenic-master client NAME --renew --out "
      "FOLDER; brenic-master clients lists them",
      clients.size() == 1 ? "The certificate" : "The certificates", Days(days), Listed(names));
}

} // namespace

bool IsAccepted(const ClientRecord& client, int64_t now) {
  return !client.m_Revoked && client.m_Expires.value_or(now + 1) > now;
}

int DaysUntil(int64_t end, int64_t now) {
  const int64_t days = (end - now) / k_Day;
  return static_cast<int>(end < now ? days - 1 : days);
}

std::vector<ClientRecord> NotSuperseded(const std::vector<ClientRecord>& clients, int64_t now) {
  const auto endOf = [](const ClientRecord& client) {
    return client.m_Expires.value_or(std::numeric_limits<int64_t>::max());
  };
  std::map<String, int64_t> last;
  for (const ClientRecord& client : clients) {
    if (IsAccepted(client, now))
      last[client.m_Name] = std::max(last[client.m_Name], endOf(client));
  }
  std::vector<ClientRecord> standing;
  for (const ClientRecord& client : clients) {
    if (IsAccepted(client, now) && endOf(client) == last[client.m_Name])
      standing.push_back(client);
  }
  return standing;
}

std::optional<int> Endings::Reached(const std::string& what, int64_t end, int64_t now) {
  const int days = DaysUntil(end, now);
  const auto* const threshold =
      std::find_if(std::begin(k_Thresholds), std::end(k_Thresholds), [&](int least) { return days < least; });
  if (threshold == std::end(k_Thresholds)) {
    m_Told.erase(what);
    return std::nullopt;
  }
  int& told = m_Told.try_emplace(what, std::numeric_limits<int>::max()).first->second;
  if (*threshold >= told)
    return std::nullopt;
  return told = *threshold;
}

std::vector<String> Endings::News(Store& store, int64_t now) {
  const MasterRecord master = store.LoadMaster();
  std::vector<String> lines;
  const int64_t own = ValidityOf(master.m_Server.m_Certificate).m_End;
  if (Reached("master", own, now))
    lines.push_back(fmt::format("The Master's own certificate ends on {}; it is renewed by itself where the "
                                "authority and its key allow it: see brenic-master authority",
                                DateText(own)));
  for (const Authority& authority : master.m_Authorities) {
    const int64_t end = ValidityOf(authority.m_Credential.m_Certificate).m_End;
    if (Reached(fmt::format("authority {}", authority.m_Number), end, now))
      lines.push_back(
          fmt::format("The authority ends on {}, and with it all certificates of it; make the next "
                      "one with brenic-master authority --renew, and renew the clients",
                      DateText(end)));
  }
  std::map<int, std::vector<ClientRecord>> ending; // by threshold
  for (const ClientRecord& client : NotSuperseded(store.Clients(), now)) {
    if (!client.m_Expires)
      continue;
    if (const auto threshold = Reached(client.m_Serial, *client.m_Expires, now))
      ending[*threshold].push_back(client);
  }
  for (const auto& [days, clients] : ending)
    lines.push_back(ClientsLine(days, clients));
  return lines;
}

} // namespace brenic::master
