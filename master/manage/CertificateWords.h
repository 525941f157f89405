// What the audit trail says became of certificates, as the reasons of its records; and what can be read from
// such a reason again.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "farm/Peer.h"

namespace brenic::master {

/// That a client's certificate was issued; what was superseded by it follows.
std::string IssuedWords(const String& name, Role role, const std::string& serial, int64_t end);
std::string SupersededWords(const std::string& serial, int64_t end);
std::string RevokedWords(const String& name, const std::vector<std::string>& serials);

/// A certificate, and the date on which it ends ("2026-01-31").
struct EndTold {
  std::string m_Serial;
  std::string m_Date;
};

struct IssueTold {
  Role m_Role = Role::k_Component; // also of those that were superseded
  EndTold m_Issued;
  std::vector<EndTold> m_Superseded;
};

/// What the reason tells of the client of that name; none when it is not put in these words.
std::optional<IssueTold> ReadIssued(const String& name, std::string_view reason);
/// The serial numbers of what was revoked; none when it is not put in these words.
std::optional<std::vector<std::string>> ReadRevocation(std::string_view reason);

} // namespace brenic::master
