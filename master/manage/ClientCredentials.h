// What a client needs to be let in: certificate, key, authority and the Master's address, in a folder.
#pragma once

#include "manage/Administration.h"
#include "manage/Certificates.h"

namespace brenic::master {

struct ClientOptions {
  Path m_Folder;
  String m_Name;
  String m_Role; // empty in a renewal: as it was
  Path m_Out;
  int m_Days = 0;   // 0: as many as usual
  String m_Address; // of the Master, for brenic.conf; empty: the Master's own first host
  bool m_Renew = false;
  int m_Overlap = 0; // days
};

/// Issues credentials into a missing or empty folder; returns what was done. The key is made here: it never
/// leaves the folder. What can fail does so before a certificate is asked for, and leaves nothing behind.
String IssueCredentials(const ClientOptions& options, const Ask& ask);

/// Where the first administrator's credentials stand in a data folder.
Path FirstAdministrator(const Path& dataFolder);

/// Throws Exception* unless a client can be told that the Master is there.
void CheckAddress(const String& address);

/// Why a party of that kind ("client") cannot have the name; none when it can.
std::optional<String> NameProblem(const char* party, const String& name);

} // namespace brenic::master
