#include "farm/Peer.h"

namespace brenic::master {

const char* RoleName(Role role) {
  return role == Role::k_Administrator ? "administrator" : "component";
}

Role RoleOf(const std::string& name) {
  return name == RoleName(Role::k_Administrator) ? Role::k_Administrator : Role::k_Component;
}

Peer Peer::TheMaster() {
  Peer peer;
  peer.m_Key = "master";
  peer.m_Name = "brenic-master";
  peer.m_Role = Role::k_Administrator;
  peer.m_Manages = true;
  return peer;
}

} // namespace brenic::master
