#include "manage/Addresses.h"

#include <algorithm>

#include <fmt/core.h>

#include "manage/Certificates.h"
#include "manage/ClientCredentials.h"
#include "rlib/Escape.h"
#include "rlib/IniFile.h"

namespace brenic::master {

namespace {

bool IsThisMachineAlone(const std::string& host) {
  return host == "localhost" || host == "::1" || host.starts_with("127.");
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

String AddressText(const Endpoint& endpoint) {
  const bool plain = endpoint.m_Port == k_DefaultPort && endpoint.m_Host.str().find(':') == std::string::npos;
  return plain ? endpoint.m_Host : endpoint.ToString();
}

std::optional<String> HostProblem(const std::string& host) {
  Endpoint endpoint;
  endpoint.m_Host = host;
  const auto parsed = Endpoint::Parse(endpoint.ToString());
  if (parsed && parsed->m_Host == String(host) && host.find_first_of(",\n") == std::string::npos)
    return std::nullopt;
  return String(fmt::format("'{}' is no host name and no address", rlib::Excerpt(String(host)).str()));
}

String AddressAmong(const std::vector<std::string>& hosts, const String& address) {
  const auto parsed = Endpoint::Parse(address);
  Endpoint endpoint = parsed ? *parsed : Endpoint();
  const auto isHost = [&](const std::string& host) { return host == endpoint.m_Host.str(); };
  if (parsed && !IsThisMachineAlone(endpoint.m_Host.str()) && std::any_of(hosts.begin(), hosts.end(), isHost))
    return address;
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
