// What the audit trail says became of certificates, as the reasons of its records; and what can be read from
// such a reason again.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "farm/Peer.h"

namespace brenic::master {

/// A certificate, and the date on which it ends ("2026-01-31").
struct EndTold {
  std::string m_Serial;
  std::string m_Date;
};

/// That a client's certificate was issued; what was superseded by it follows.
std::string IssuedWords(const String& name, Role role, const std::string& serial, int64_t end);
std::string SupersededWords(const std::vector<EndTold>& superseded);
std::string RevokedWords(const String& name, const std::vector<std::string>& serials);

struct IssueTold {
  Role m_Role = Role::k_Component; // also of those that were superseded
  EndTold m_Issued;
  std::vector<EndTold> m_Superseded;
  bool m_AreAllTold = true; // not when so many were superseded that only the first are named
};

/// What the reason tells of the client of that name; none when it is not put in these words.
std::optional<IssueTold> ReadIssued(const String& name, std::string_view reason);
/// The serial numbers of what was revoked, of very many the first; none when it is not put in these words.
std::optional<std::vector<std::string>> ReadRevocation(std::string_view reason);

} // namespace brenic::master
