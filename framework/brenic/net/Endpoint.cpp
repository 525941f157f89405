#include "net/Endpoint.h"

#include <algorithm>
#include <arpa/inet.h>

#include <fmt/core.h>

#include "rlib/Escape.h"
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

constexpr size_t k_LongestName = 253; // characters
constexpr size_t k_LongestLabel = 63;

// The locale has no say in these.
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsOfName(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_' || c == '.';
}

/// Whether the system would take a name that ends with this label for an IPv4 address in one of its odd
/// forms: "1.2", "010.0.0.1", "0x7f000001" are not what they look like. No domain has such a name.
bool IsNumber(std::string_view label) {
  const bool hexadecimal = label.starts_with("0x") || label.starts_with("0X");
  return hexadecimal || std::all_of(label.begin(), label.end(), IsDigit);
}

bool IsLabel(std::string_view label) {
  return !label.empty() && label.size() <= k_LongestLabel && label.front() != '-' && label.back() != '-';
}

/// Whether the host is a name or an IPv4 address.
Result<> CheckHost(const std::string& host) {
  if (host[0] == '-')
    return Failure("a host name does not begin with a dash");
  if (!std::all_of(host.begin(), host.end(), IsOfName))
    return Failure("a host name has no characters but letters, digits, '-', '_' and '.'; a name in another "
                   "script is written in its form that begins with xn--");
  if (in_addr address{}; inet_pton(AF_INET, host.c_str(), &address) == 1)
    return {};
  std::string_view name = host;
  if (name.back() == '.') // the root, at the end of a name that is complete
    name.remove_suffix(1);
  if (name.size() > k_LongestName)
    return Failure(fmt::format("a host name has at most {} characters", k_LongestName));
  for (size_t begin = 0; begin <= name.size();) {
    const size_t end = std::min(name.find('.', begin), name.size());
    const std::string_view label = name.substr(begin, end - begin);
    if (!IsLabel(label))
      return Failure(fmt::format("each part of a host name between dots has 1 to {} characters and neither "
                                 "begins nor ends with a dash",
                                 k_LongestLabel));
    if (end == name.size() && IsNumber(label))
      return Failure("an IPv4 address has four numbers from 0 to 255, as 192.0.2.1");
    begin = end + 1;
  }
  return {};
}

/// What stands in brackets: an IPv6 address, perhaps with the network interface of a link-local one.
Result<> CheckBracketed(const std::string& host) {
  const size_t percent = host.find('%');
  const std::string interface = percent == std::string::npos ? "any" : host.substr(percent + 1);
  in6_addr address{};
  if (inet_pton(AF_INET6, host.substr(0, percent).c_str(), &address) != 1 || interface.empty() ||
      !std::all_of(interface.begin(), interface.end(), IsOfName))
    return Failure("what stands in brackets is no IPv6 address");
  return {};
}

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
  if (rlib::EscapeControls(text) != text)
    return Failure("an address holds no control characters");
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
  if (const Result<> host = address[0] == '[' ? CheckBracketed(parts->m_Host) : CheckHost(parts->m_Host);
      !host)
    return host.Why();
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
