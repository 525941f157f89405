#include "farm/Peer.h"

namespace brenic::master {

const char* RoleName(Role role) {
  return role == Role::Administrator ? "administrator" : "component";
}

Role RoleOf(const std::string& name) {
  return name == RoleName(Role::Administrator) ? Role::Administrator : Role::Component;
}

} // namespace brenic::master
