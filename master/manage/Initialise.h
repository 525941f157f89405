// Makes a Master.
#pragma once

#include <string>
#include <vector>

#include "brenic/Types.h"

namespace brenic::master {

struct InitOptions {
  Path m_Folder;
  String m_Name; // empty: the machine's name
  std::vector<std::string> m_Hosts;
  uint16_t m_Port = 0; // by which clients reach the Master; 0: the default port
};

/// Makes a new Master in a folder that is missing, empty, or left by an attempt that did not come to its end:
/// the database appears under its name last. Throws Exception* for any other folder, and when it cannot be
/// written.
void Initialise(const InitOptions& options);

/// What a Master's certificate is valid for on this machine: the others, first, its name, and the loopback's
/// names and addresses.
std::vector<std::string> HostsOfMachine(const std::vector<std::string>& others);

} // namespace brenic::master
