// What a client needs to be let in: certificate, key, authority and the Master's address, in a folder.
#pragma once

#include "farm/Peer.h"
#include "manage/Certificates.h"

namespace brenic::master {

struct ClientOptions {
  Path m_Folder;
  String m_Name;
  Role m_Role = Role::k_Component;
  Path m_Out;
  int m_ValidDays = k_CertificateDays;
  String m_Address; // of the Master, for brenic.conf; empty: the one of the first administrator's
};

/// Issues credentials into a missing or empty folder, also while the Master serves.
void IssueCredentials(const ClientOptions& options);

/// Writes `ca.pem`, `client.pem`, `client.key` and `brenic.conf` into a folder that is missing or empty.
/// Throws Exception*.
void WriteCredentials(const Path& folder, const Credential& authority, const Credential& client,
                      const String& address);

/// Where the first administrator's credentials stand in a data folder.
Path FirstAdministrator(const Path& dataFolder);

/// Makes a folder that may be there already. Throws Exception*.
void MakeFolder(const Path& folder, mode_t mode);

/// Throws Exception* unless a client can be told that the Master is there.
void CheckAddress(const String& address);

/// Throws Exception* unless a party of that kind ("client") can have the name.
void CheckPartyName(const char* party, const String& name);

} // namespace brenic::master
