#include "client/Target.h"

#include <algorithm>
#include <cmath>

#include <fmt/core.h>

#include "client/Configuration.h"
#include "rlib/Number.h"

namespace brenic {

using rlib::Failure;
using rlib::Result;

namespace {

String NoMaster() {
  std::string files;
  for (const Path& file : ConfigurationFiles())
    files += (files.empty() ? "" : " and ") + file.str().str();
  return fmt::format(
      "No Master is configured: there is no {} and no local Master; use -Master <address:port> "
      "and credentials made by 'brenic-master client'",
      files);
}

using Timeout = std::optional<std::chrono::milliseconds>; // none: no limit

/// No value for what is not a number of seconds.
std::optional<Timeout> ParseTimeout(const String& text) {
  constexpr double k_Longest = 1e9;
  const std::optional<double> seconds = rlib::ParseDouble(text);
  if (!seconds || *seconds < 0 || *seconds > k_Longest)
    return std::nullopt;
  if (*seconds == 0)
    return Timeout();
  return Timeout(std::max<int64_t>(1, std::llround(*seconds * 1000)));
}

/// None when the command line says nothing, which differs from its saying "no limit".
Result<std::optional<Timeout>> ReadTimeout(const CommandLine& cmd) {
  if (!cmd.HasSwitch("ConnectTimeout"))
    return std::nullopt;
  const String text = cmd.GetArgument("ConnectTimeout", 0, k_Empty);
  const std::optional<Timeout> timeout = ParseTimeout(text);
  if (!timeout)
    return Failure(fmt::format("-ConnectTimeout '{}' is not a number of seconds", text.str()));
  return timeout;
}

Result<Timeout> ConfiguredTimeout(const std::optional<Configuration>& configuration) {
  if (!configuration || !configuration->m_ConnectTimeout)
    return Timeout();
  const std::optional<Timeout> timeout = ParseTimeout(*configuration->m_ConnectTimeout);
  if (!timeout)
    return Failure(fmt::format("The ConnectTimeout '{}' in '{}' is not a number of seconds",
                               configuration->m_ConnectTimeout->str(), configuration->m_File.str().str()));
  return *timeout;
}

Result<std::optional<uint16_t>> ReadPort(const CommandLine& cmd) {
  if (!cmd.HasSwitch("MasterPort"))
    return std::nullopt;
  const String text = cmd.GetArgument("MasterPort", 0, k_Empty);
  const std::optional<uint16_t> port = ParsePort(text);
  if (!port)
    return Failure(fmt::format("-MasterPort '{}' is not a port number from 1 to 65535", text.str()));
  return port;
}

Result<std::optional<Endpoint>> ReadMaster(const CommandLine& cmd) {
  if (!cmd.HasSwitch("Master"))
    return std::nullopt;
  const String text = cmd.GetArgument("Master", 0, k_Empty);
  const Result<Endpoint> endpoint = Endpoint::Parse(text);
  if (!endpoint)
    return Failure(fmt::format("-Master '{}' is not an address: {}", text.str(), endpoint.Reason().str()));
  return *endpoint;
}

Result<Endpoint> ConfiguredMaster(const Configuration& configuration) {
  if (configuration.m_Master.empty())
    return Failure(
        fmt::format("The configuration '{}' names no Master; write 'Master = HOST' into its section "
                    "[Client], or use -Master <address:port>",
                    configuration.m_File.str().str()));
  Result<Endpoint> endpoint = Endpoint::Parse(configuration.m_Master);
  if (!endpoint)
    return Failure(fmt::format("The Master '{}' in '{}' is not an address: {}", configuration.m_Master.str(),
                               configuration.m_File.str().str(), endpoint.Reason().str()));
  return endpoint;
}

/// Where the Master is that the command line does not name. A local one has no port that could be chosen.
Result<Endpoint> UsualMaster(const std::optional<Configuration>& configuration, bool isPortChosen) {
  if (configuration)
    return ConfiguredMaster(*configuration);
  const rlib::vector<Path> sockets = LocalSockets();
  if (sockets.empty() || isPortChosen)
    return Failure(NoMaster());
  Endpoint local;
  local.m_Socket = sockets.front();
  return local;
}

/// The configuration is not looked at for a local Master that the command line names: it needs no
/// credentials.
Result<std::optional<Configuration>> ConfigurationFor(const std::optional<Endpoint>& named) {
  if (named && named->IsLocal())
    return std::nullopt;
  return LoadConfiguration();
}

Failure NoCredentials(const Endpoint& endpoint) {
  return Failure(
      fmt::format("There are no credentials for {}: 'brenic-master client' makes them; put them, with their "
                  "brenic.conf, where $BRENIC_CONFIG or {} says",
                  endpoint.ToString().str(), ConfigurationFiles().back().str().str()));
}

} // namespace

Result<Target> Target::Choose(const CommandLine& cmd) {
  const auto timeout = ReadTimeout(cmd);
  if (!timeout)
    return timeout.Why();
  const auto port = ReadPort(cmd);
  if (!port)
    return port.Why();
  const auto named = ReadMaster(cmd);
  if (!named)
    return named.Why();

  const auto configuration = ConfigurationFor(*named);
  if (!configuration)
    return configuration.Why();
  const auto usualTimeout = ConfiguredTimeout(*configuration);
  if (!usualTimeout)
    return usualTimeout.Why();
  const auto endpoint = *named ? Result<Endpoint>(**named) : UsualMaster(*configuration, port->has_value());
  if (!endpoint)
    return endpoint.Why();
  if (*port && endpoint->IsLocal())
    return Failure(
        fmt::format("-MasterPort does not go with the local socket {}", endpoint->ToString().str()));

  Target target;
  target.m_Endpoint = *endpoint;
  target.m_ConnectTimeout = timeout->value_or(*usualTimeout);
  target.m_RestoreTimeout = timeout->value_or(std::nullopt);
  if (*port)
    target.m_Endpoint.m_Port = **port;
  if (!endpoint->IsLocal() && !*configuration)
    return NoCredentials(target.m_Endpoint);
  if (*configuration)
    target.m_Credentials = (*configuration)->m_Credentials;
  return target;
}

} // namespace brenic
