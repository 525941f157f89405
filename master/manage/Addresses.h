// By which names a Master is reached, and which of them its clients are told.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "net/Endpoint.h"
#include "store/Store.h"

namespace brenic::master {

/// The address as it stands in a client's configuration: without the default port, and without a dot at the
/// host's end.
String AddressText(Endpoint endpoint);

/// Why a certificate cannot be valid for that host; none when it can.
std::optional<String> HostProblem(const std::string& host);

/// Whether both lead to the same host: ASCII case, a dot at a name's end, and how an IPv6 address is written
/// make no difference.
bool IsSameHost(const std::string& a, const std::string& b);

/// The host without a dot at its end, which names it no differently, but which no certificate may hold.
std::string WithoutDot(std::string host);

/// The hosts, each once, as it is first spelled, without dots at their ends.
std::vector<std::string> EachHostOnce(const std::vector<std::string>& hosts);

/// The Master's own first host with its port, whatever became of the first administrator's credentials: from
/// the store, for a Master of an earlier layout from these credentials or else its certificate.
String AddressForClients(const Path& dataFolder, const MasterRecord& master);

/// The same address if it is one of the hosts and not this machine alone; else the first such host, with the
/// same port.
String AddressAmong(const std::vector<std::string>& hosts, const String& address);

} // namespace brenic::master
