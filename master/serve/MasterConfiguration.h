// The Master's configuration file.
#pragma once

#include <set>

#include "farm/Judgement.h"
#include "rlib/Log.h"
#include "serve/AuditKeeping.h"

namespace brenic::master {

/// What a running Master takes anew when it reads its configuration again.
struct LiveSettings {
  MachineCommandLines m_Commands; // RebootCommand, ShutdownCommand
  int m_LogFileLevel = rlib::Log::k_DefaultFileLevel;
  int m_LogDisplayLevel = rlib::Log::k_DefaultDisplayLevel;
  Path m_Products;                          // folder of the default products; empty: not configured
  size_t m_ConnectionsPerCertificate = 0;   // 0: all places
  int m_AuditKeep = KeepingOptions::k_Days; // days that the audit trail keeps
};

/// What holds from its start to its end.
struct StartSettings {
  Path m_DataFolder;            // empty: not configured
  std::vector<String> m_Listen; // "ADDRESS:PORT"; empty: not configured
  Path m_Socket;                // empty: no local socket
  Path m_PortFile;              // empty: none
  Path m_LogFolder;             // empty: in the data folder
};

/// Section [Master] of an INI file. The members are called as the names in it.
struct MasterConfiguration {
  LiveSettings m_Live;
  StartSettings m_Start;
  std::set<String> m_Names; // that the file has
  bool m_IsEnded = true;    // its last line ends with a newline
};

/// Relative paths are relative to the file; a path without value is an error, and what to listen
/// on may be given several times and with commas. An empty `file` gives the defaults. Throws Exception*, with
/// one line that names the file, for one that cannot be read, and for a line, section, name or value in it
/// that is not known or there twice: a misspelt command must not go unnoticed until it is needed.
MasterConfiguration LoadMasterConfiguration(const Path& file);

/// Fails when the next one, in place of the present one of a running Master, would have something leave for
/// good only because it is missing, or differs although its last line has no end: a file that is being
/// written, or was cut off, is empty or ends too early, be it within a number.
rlib::Result<> CheckSuccession(const MasterConfiguration& present, const MasterConfiguration& next);

/// All names that the section may have.
std::vector<String> MasterConfigurationNames();

/// The names of the settings that differ, separated by a comma and a space.
String Differences(const StartSettings& one, const StartSettings& other);

} // namespace brenic::master
