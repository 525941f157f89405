// Who asks something of the Master.
#pragma once

#include <cstdint>
#include <string>

#include "brenic/Types.h"

namespace brenic::master {

enum class Role { k_Component, k_Administrator };
const char* RoleName(Role role);
/// A component for every name that is not an administrator's.
Role RoleOf(const std::string& name);

/// Who is at the other end of a connection. Immutable.
struct Peer {
  std::string m_Key; // certificate serial, "uid:N", or "master"
  String m_Name;
  Role m_Role = Role::k_Component;
  std::string m_Address;
  std::string m_ClientId; // as the client calls itself
  uint32_t m_Kind = 0;
  String m_Program;       // as it calls itself
  uint32_t m_Version = 0; // the same
  bool m_Manages = false; // came by the management socket

  /// On this machine, without a certificate.
  bool IsLocal() const { return m_Key.starts_with("uid:"); }

  /// The Master, as the one who asks what it does of itself.
  static Peer TheMaster();
};

} // namespace brenic::master
