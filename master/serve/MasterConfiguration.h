// The Master's configuration file.
#pragma once

#include "farm/Judgement.h"
#include "serve/AuditKeeping.h"

namespace brenic::master {

/// Section [Master] of an INI file. Relative paths are relative to the file.
struct MasterConfiguration {
  MachineCommandLines m_Commands;           // RebootCommand, ShutdownCommand
  Path m_LogFolder;                         // LogFolder; empty: in the data folder
  int m_LogFileLevel;                       // LogFileLevel
  int m_LogDisplayLevel;                    // LogDisplayLevel
  Path m_Products;                          // Products: folder of the default products; empty: not configured
  size_t m_ConnectionsPerCertificate = 0;   // ConnectionsPerCertificate; 0: all places
  int m_AuditKeep = KeepingOptions::k_Days; // AuditKeep: days that the audit trail keeps
};

/// An empty path gives the defaults. Throws Exception* for a file that cannot be read, and for a line,
/// section, name or number in it that is not known: a misspelt command must not go unnoticed until it is
/// needed.
MasterConfiguration LoadMasterConfiguration(const Path& file);

} // namespace brenic::master
