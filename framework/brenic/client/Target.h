// Which Master a program is to reach, and with what credentials.
#pragma once

#include <chrono>
#include <optional>

#include "brenic/CommandLine.h"
#include "client/Credentials.h"
#include "net/Endpoint.h"
#include "rlib/Result.h"

namespace brenic {

struct Target {
  Endpoint m_Endpoint;
  Credentials m_Credentials; // for TCP
  /// How long the first connection is tried; none: without limit.
  std::optional<std::chrono::milliseconds> m_ConnectTimeout;
  /// How long a lost one is; none: as usual.
  std::optional<std::chrono::milliseconds> m_RestoreTimeout;

  /// From "-Master", "-MasterPort", "-ConnectTimeout", the configuration and the local sockets that exist.
  /// Fails, with what is wrong and what to do about it, when they do not say: better no Master than another
  /// one by accident.
  static rlib::Result<Target> Choose(const CommandLine& cmd);
};

} // namespace brenic
