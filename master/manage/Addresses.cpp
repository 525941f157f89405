#include "manage/Addresses.h"

#include <algorithm>
#include <arpa/inet.h>

#include <fmt/core.h>

#include "manage/Certificates.h"
#include "manage/ClientCredentials.h"
#include "manage/Words.h"
#include "rlib/IniFile.h"

namespace brenic::master {

namespace {

/// One spelling for each host.
std::string Plain(std::string host) {
  in6_addr address{};
  char text[INET6_ADDRSTRLEN];
  if (inet_pton(AF_INET6, host.c_str(), &address) == 1 && inet_ntop(AF_INET6, &address, text, sizeof text))
    return text;
  host = WithoutDot(host);
  std::transform(host.begin(), host.end(), host.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return host;
}

bool IsThisMachineAlone(const std::string& host) {
  const std::string plain = Plain(host);
  return plain == "localhost" || plain == "::1" || plain.starts_with("127.");
}

/// The address that the first administrator's configuration names; empty when there is none.
String AddressOfFirstAdministrator(const Path& dataFolder) {
  rlib::IniFile ini(true);
  ini.SetFileName((FirstAdministrator(dataFolder) / "brenic.conf").str());
  String name, value;
  if (!ini.Load(true, false))
    return {};
  while (ini.SetNextSection()) {
    while (ini.GetNextValue(name, value)) {
      if (name.CompareNoCase("Master") == 0)
        return value;
    }
  }
  return {};
}

} // namespace

String AddressText(Endpoint endpoint) {
  endpoint.m_Host = WithoutDot(endpoint.m_Host.str());
  const bool plain = endpoint.m_Port == k_DefaultPort && endpoint.m_Host.str().find(':') == std::string::npos;
  return plain ? endpoint.m_Host : endpoint.ToString();
}

std::string WithoutDot(std::string host) {
  if (host.size() > 1 && host.ends_with('.'))
    host.pop_back();
  return host;
}

std::optional<String> HostProblem(const std::string& host) {
  Endpoint endpoint;
  endpoint.m_Host = host;
  const auto parsed = Endpoint::Parse(endpoint.ToString());
  if (parsed && parsed->m_Host == String(host) && host.find_first_of(",\n") == std::string::npos)
    return std::nullopt;
  return String(Quoted(host) + " is no host name and no address");
}

bool IsSameHost(const std::string& a, const std::string& b) {
  return Plain(a) == Plain(b);
}

std::vector<std::string> EachHostOnce(const std::vector<std::string>& hosts) {
  std::vector<std::string> once;
  for (const std::string& host : hosts) {
    const auto isSame = [&](const std::string& other) { return IsSameHost(host, other); };
    if (std::none_of(once.begin(), once.end(), isSame))
      once.push_back(WithoutDot(host));
  }
  return once;
}

String AddressAmong(const std::vector<std::string>& hosts, const String& address) {
  const auto parsed = Endpoint::Parse(address);
  Endpoint endpoint = parsed ? *parsed : Endpoint();
  const auto isHost = [&](const std::string& host) { return IsSameHost(host, endpoint.m_Host.str()); };
  if (parsed && !IsThisMachineAlone(endpoint.m_Host.str()) && std::any_of(hosts.begin(), hosts.end(), isHost))
    return endpoint.m_Host.str().ends_with('.') ? AddressText(endpoint) : address;
  const auto reached = std::find_if_not(hosts.begin(), hosts.end(), IsThisMachineAlone);
  if (reached != hosts.end())
    endpoint.m_Host = *reached;
  else if (!parsed || std::none_of(hosts.begin(), hosts.end(), isHost))
    endpoint.m_Host = hosts.empty() ? "127.0.0.1" : hosts.front();
  return AddressText(endpoint);
}

String AddressForClients(const Path& dataFolder, const MasterRecord& master) {
  if (!master.m_Address.empty())
    return master.m_Address;
  const String address = AddressOfFirstAdministrator(dataFolder);
  return address.empty() ? AddressAmong(HostsOf(master.m_Server), {}) : address;
}

} // namespace brenic::master
