#include "net/Endpoint.h"

#include <fmt/core.h>

#include "rlib/Number.h"

namespace brenic {

using rlib::Failure;
using rlib::Result;

std::optional<uint16_t> ParsePort(std::string_view text, int lowest) {
  const std::optional<int32_t> number = rlib::ParseInt32(text);
  if (!number || text[0] == '+' || *number < lowest || *number > 65535)
    return std::nullopt;
  return static_cast<uint16_t>(*number);
}

String Endpoint::ToString() const {
  if (IsLocal())
    return "unix:" + m_Socket.str();
  const bool bracketed = m_Host.str().find(':') != std::string::npos;
  return fmt::format("{}{}{}:{}", bracketed ? "[" : "", m_Host.str(), bracketed ? "]" : "", m_Port);
}

namespace {

struct HostAndPort {
  std::string m_Host;
  std::optional<std::string> m_Port; // none when the address has none
};

Result<HostAndPort> SplitBracketed(const std::string& address) {
  const size_t end = address.find(']');
  if (end == std::string::npos)
    return Failure("the closing bracket is missing");
  HostAndPort parts{address.substr(1, end - 1), std::nullopt};
  if (end + 1 == address.size())
    return parts;
  if (address[end + 1] != ':')
    return Failure("a port is written behind a colon");
  parts.m_Port = address.substr(end + 2);
  return parts;
}

Result<HostAndPort> Split(const std::string& address) {
  if (address[0] == '[')
    return SplitBracketed(address);
  const size_t colon = address.find(':');
  if (colon == std::string::npos)
    return HostAndPort{address, std::nullopt};
  if (address.find(':', colon + 1) != std::string::npos)
    return Failure(fmt::format("an IPv6 address is written in brackets, as [::1]:{}", k_DefaultPort));
  return HostAndPort{address.substr(0, colon), address.substr(colon + 1)};
}

} // namespace

Result<Endpoint> Endpoint::Parse(const String& text) {
  const std::string& address = text.str();
  if (address.empty())
    return Failure("an address is missing");
  if (address.find_first_of(std::string_view("\0 \t\n\r", 5)) != std::string::npos)
    return Failure("an address holds no spaces");
  Endpoint endpoint;
  if (address.rfind("unix:", 0) == 0) {
    endpoint.m_Socket = Path(address.substr(5));
    if (endpoint.m_Socket.empty())
      return Failure("the path is missing behind unix:");
    return endpoint;
  }
  const auto parts = Split(address);
  if (!parts)
    return parts.Why();
  if (parts->m_Host.empty())
    return Failure("the host is missing");
  if (parts->m_Host[0] == '-')
    return Failure("a host name does not begin with a dash");
  if (parts->m_Port) {
    const auto port = ParsePort(*parts->m_Port);
    if (!port)
      return Failure("the port must be a number from 1 to 65535");
    endpoint.m_Port = *port;
  }
  endpoint.m_Host = parts->m_Host;
  return endpoint;
}

} // namespace brenic
