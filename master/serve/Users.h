// The users of this machine, as those who ask something of a Master.
#pragma once

#include <sys/types.h>

#include "brenic/Types.h"

namespace brenic::master {

/// What requests of the user are remembered with: "uid:1000".
std::string UserKey(uid_t user);
/// The user's name; the key for one that has none.
String UserName(uid_t user);

} // namespace brenic::master
