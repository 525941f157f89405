// Where a Master is reached.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic {

inline constexpr uint16_t k_DefaultPort = 8730;

struct Endpoint {
  String m_Host; // name or numeric address; empty for a local socket
  uint16_t m_Port = k_DefaultPort;
  Path m_Socket; // of a Master on the same machine; empty for TCP

  bool IsLocal() const { return !m_Socket.empty(); }
  /// As a user writes it: "host:8730", "[::1]:8730", "unix:/run/brenic/master.sock".
  String ToString() const;

  /// Reads "host", "host:port", "[IPv6 address]:port" or "unix:PATH". Fails with what is wrong with the text,
  /// also for a host that can be neither a name nor an address.
  static rlib::Result<Endpoint> Parse(const String& text);
};

/// A port number as text: 1 to 65535, or from 0 where 0 asks for a free one. No value for any other text.
[[nodiscard]] std::optional<uint16_t> ParsePort(std::string_view text, int lowest = 1);

} // namespace brenic
