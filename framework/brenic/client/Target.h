// Which Master a program is to reach, and with what credentials.
#pragma once

#include <chrono>
#include <optional>

#include "brenic/CommandLine.h"
#include "client/Credentials.h"
#include "net/Endpoint.h"

namespace brenic {

struct Target {
  Endpoint m_Endpoint;
  Credentials m_Credentials; // for TCP
  std::optional<std::chrono::milliseconds> m_ConnectTimeout;

  /// From "-Master", "-MasterPort", "-ConnectTimeout", the configuration and the local sockets that exist.
  /// Returns what is wrong and what to do about it, empty when nothing is: better no Master than another one
  /// by accident.
  [[nodiscard]] String Choose(const CommandLine& cmd);
};

} // namespace brenic
