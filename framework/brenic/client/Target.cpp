#include "client/Target.h"

#include <fmt/core.h>

#include "client/Configuration.h"
#include "rlib/Number.h"

namespace brenic {

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

String ReadTimeout(const CommandLine& cmd, std::optional<std::chrono::milliseconds>& timeout) {
  if (!cmd.HasSwitch("ConnectTimeout"))
    return k_Empty;
  constexpr double k_Longest = 1e9;
  const String text = cmd.GetArgument("ConnectTimeout", 0, k_Empty);
  const std::optional<double> seconds = rlib::ParseDouble(text);
  if (!seconds || *seconds < 0 || *seconds > k_Longest)
    return fmt::format("-ConnectTimeout '{}' is not a number of seconds", text.str());
  if (*seconds > 0)
    timeout = std::chrono::milliseconds(static_cast<int64_t>(*seconds * 1000 + 0.5));
  return k_Empty;
}

} // namespace

String Target::Choose(const CommandLine& cmd) {
  if (String problem = ReadTimeout(cmd, m_ConnectTimeout); !problem.empty())
    return problem;
  const String portText = cmd.GetArgument("MasterPort", 0, k_Empty);
  const std::optional<uint16_t> port = ParsePort(portText);
  if (cmd.HasSwitch("MasterPort") && !port)
    return fmt::format("-MasterPort '{}' is not a port number from 1 to 65535", portText.str());
  String address = cmd.GetArgument("Master", 0, k_Empty);
  if (cmd.HasSwitch("Master")) {
    const rlib::Result<Endpoint> endpoint = Endpoint::Parse(address);
    if (!endpoint)
      return fmt::format("-Master '{}' is not an address: {}", address.str(), endpoint.Reason().str());
    m_Endpoint = *endpoint;
  }

  Configuration configuration;
  if (!m_Endpoint.IsLocal()) {
    String problem;
    configuration = LoadConfiguration(problem);
    if (!problem.empty())
      return problem;
  }
  if (!cmd.HasSwitch("Master")) {
    const auto sockets = LocalSockets();
    if (!configuration.m_File.empty()) {
      const rlib::Result<Endpoint> endpoint = Endpoint::Parse(configuration.m_Master);
      if (!endpoint)
        return fmt::format("The Master '{}' in '{}' is not an address: {}", configuration.m_Master.str(),
                           configuration.m_File.str().str(), endpoint.Reason().str());
      m_Endpoint = *endpoint;
    } else if (!sockets.empty() && !port) {
      m_Endpoint.m_Socket = sockets.front();
    } else {
      return NoMaster();
    }
  }
  if (port && m_Endpoint.IsLocal())
    return fmt::format("-MasterPort does not go with the local socket {}", m_Endpoint.ToString().str());
  if (port)
    m_Endpoint.m_Port = *port;
  if (!m_Endpoint.IsLocal() && configuration.m_File.empty())
    return fmt::format(
        "There are no credentials for {}: 'brenic-master client' makes them; put them, with their "
        "brenic.conf, where $BRENIC_CONFIG or {} says",
        m_Endpoint.ToString().str(), ConfigurationFiles().back().str().str());
  m_Credentials = configuration.m_Credentials;
  return k_Empty;
}

} // namespace brenic
