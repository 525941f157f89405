#include "farm/Peer.h"

namespace brenic::master {

const char* RoleName(Role role) {
  return role == Role::k_Administrator ? "administrator" : "component";
}

Role RoleOf(const std::string& name) {
  return name == RoleName(Role::k_Administrator) ? Role::k_Administrator : Role::k_Component;
}

} // namespace brenic::master
