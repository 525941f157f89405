// The folder that holds everything of one Master: database, lock, log, the first administrator's credentials.
#pragma once

#include <set>

#include "Certificates.h"
#include "Store.h"

namespace brenic::master {

struct InitOptions {
  Path m_Folder;
  String m_Name; // empty: the machine's name
  std::vector<std::string> m_Hosts;
  uint16_t m_Port = 0; // by which clients reach the Master; 0: the default port
};

bool IsInitialised(const Path& folder);

/// Makes a new Master in a folder that is missing, empty, or left by an attempt that did not come to its end:
/// the database appears under its name last. Throws Exception* for any other folder, and when it cannot be
/// written.
void Initialise(const InitOptions& options);

/// Throws Exception* unless the folder holds a Master.
void RequireInitialised(const Path& folder);

struct ClientOptions {
  Path m_Folder;
  String m_Name;
  Role m_Role = Role::Component;
  Path m_Out;
  int m_ValidDays = k_CertificateDays;
  String m_Address; // of the Master, for brenic.conf; empty: the one of the first administrator's
};

/// Issues credentials into a missing or empty folder, also while the Master serves.
void IssueCredentials(const ClientOptions& options);

/// Held while a process makes or serves a data folder. Throws Exception* when another one does.
class ServeLock {
public:
  explicit ServeLock(const Path& folder);
  ~ServeLock();
  ServeLock(const ServeLock&) = delete;
  ServeLock& operator=(const ServeLock&) = delete;

private:
  int m_File;
};

} // namespace brenic::master
