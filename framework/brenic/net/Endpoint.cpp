#include "net/Endpoint.h"

#include <fmt/core.h>

#include "rlib/Number.h"

namespace brenic {

bool ParsePort(std::string_view text, uint16_t& port, int lowest) {
  const std::optional<int32_t> number = rlib::ParseInt32(text);
  if (!number || text[0] == '+' || *number < lowest || *number > 65535)
    return false;
  port = static_cast<uint16_t>(*number);
  return true;
}

String Endpoint::ToString() const {
  if (IsLocal())
    return "unix:" + m_Socket.str();
  const bool bracketed = m_Host.str().find(':') != std::string::npos;
  return fmt::format("{}{}{}:{}", bracketed ? "[" : "", m_Host.str(), bracketed ? "]" : "", m_Port);
}

String Endpoint::Parse(const String& text) {
  const std::string& address = text.str();
  if (address.empty())
    return "an address is missing";
  if (address.find_first_of(std::string_view("\0 \t\n\r", 5)) != std::string::npos)
    return "an address holds no spaces";
  if (address.rfind("unix:", 0) == 0) {
    m_Socket = Path(address.substr(5));
    return m_Socket.empty() ? String("the path is missing behind unix:") : k_Empty;
  }

  std::string host = address, port;
  bool hasPort = false;
  if (address[0] == '[') {
    const size_t end = address.find(']');
    if (end == std::string::npos)
      return "the closing bracket is missing";
    host = address.substr(1, end - 1);
    hasPort = end + 1 < address.size();
    if (hasPort && address[end + 1] != ':')
      return "a port is written behind a colon";
    port = hasPort ? address.substr(end + 2) : "";
  } else if (const size_t colon = address.find(':'); colon != std::string::npos) {
    if (address.find(':', colon + 1) != std::string::npos)
      return fmt::format("an IPv6 address is written in brackets, as [::1]:{}", k_DefaultPort);
    host = address.substr(0, colon);
    port = address.substr(colon + 1);
    hasPort = true;
  }
  if (host.empty())
    return "the host is missing";
  if (host[0] == '-')
    return "a host name does not begin with a dash";
  if (hasPort && !ParsePort(port, m_Port))
    return "the port must be a number from 1 to 65535";
  m_Host = host;
  m_Socket = Path();
  return k_Empty;
}

} // namespace brenic
