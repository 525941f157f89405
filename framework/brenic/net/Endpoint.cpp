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

  std::string host = address, port;
  bool hasPort = false;
  if (address[0] == '[') {
    const size_t end = address.find(']');
    if (end == std::string::npos)
      return Failure("the closing bracket is missing");
    host = address.substr(1, end - 1);
    hasPort = end + 1 < address.size();
    if (hasPort && address[end + 1] != ':')
      return Failure("a port is written behind a colon");
    port = hasPort ? address.substr(end + 2) : "";
  } else if (const size_t colon = address.find(':'); colon != std::string::npos) {
    if (address.find(':', colon + 1) != std::string::npos)
      return Failure(fmt::format("an IPv6 address is written in brackets, as [::1]:{}", k_DefaultPort));
    host = address.substr(0, colon);
    port = address.substr(colon + 1);
    hasPort = true;
  }
  if (host.empty())
    return Failure("the host is missing");
  if (host[0] == '-')
    return Failure("a host name does not begin with a dash");
  if (hasPort) {
    const std::optional<uint16_t> number = ParsePort(port);
    if (!number)
      return Failure("the port must be a number from 1 to 65535");
    endpoint.m_Port = *number;
  }
  endpoint.m_Host = host;
  return endpoint;
}

} // namespace brenic
