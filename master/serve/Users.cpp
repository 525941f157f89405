#include "serve/Users.h"

#include <array>

#include <fmt/core.h>
#include <pwd.h>

namespace brenic::master {

std::string UserKey(uid_t user) {
  return fmt::format("uid:{}", user);
}

String UserName(uid_t user) {
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 4096> buffer;
  if (getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
    return entry.pw_name;
  return UserKey(user);
}

} // namespace brenic::master
