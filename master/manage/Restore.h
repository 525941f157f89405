// `restore`: a backup becomes a data folder.
#pragma once

#include <vector>

#include "manage/Administration.h"
#include "store/DatabaseCopy.h"
#include "store/RevokedFile.h"
#include "store/Sqlite.h"

namespace brenic::master {

struct RestoreOptions {
  Path m_Folder;
  Path m_File;
  String m_Name; // of the Master from now on; empty: as it was
  std::vector<std::string>
      m_Hosts; // its certificate is issued anew for these and the machine; none: as it was
  bool m_Accept = false;
  Path m_Revoked; // what the lost folder kept of that name; empty: none
};

/// A certificate that is accepted.
struct ValidCertificate {
  String m_Name;
  std::string m_Role;
  std::string m_Serial;
  int64_t m_Expires = 0; // milliseconds since 1970-01-01 UTC; 0: not known
};

/// Of the revocations that a list has.
struct RevokedCounts {
  size_t m_Newly = 0;   // of certificates that were valid in the backup
  size_t m_Already = 0; // were known to it
  size_t m_Unknown = 0; // of certificates that it does not hold
};

struct Restored {
  String m_Name; // of the Master
  int64_t m_Sequence = 0;
  int64_t m_Time = 0; // of the backup's last record
  HeldKeys m_Keys;
  bool m_IsAccepted = false;
  std::vector<ValidCertificate> m_Valid; // what is accepted, or will be
  RevokedCounts m_Revoked;
  std::string m_Torn;           // of the list of what was revoked, see TornWords
  int m_BroughtFrom = 0;        // an earlier layout that the backup has; 0: it was left as it is
  bool m_IsOfThisLayout = true; // else certificates can be revoked once it is accepted
};

/// Makes a data folder of a backup, all of it or nothing: see NewDataFolder. Throws Exception* or
/// StoreFailure, for a file that is no whole backup in one line that says what it is. What is made different
/// from the backup is a request that `ask` has decided, for which the database is brought to this layout;
/// else it stays as it is.
Restored Restore(const RestoreOptions& options, const Ask& ask);

/// Accepts a folder that was restored before, with what `revoked` holds revoked, unless that is empty: one
/// request that `ask` has decided. Throws Exception* or StoreFailure.
Restored AcceptRestored(const Path& folder, const Path& revoked, const Ask& ask);

/// How a restored folder, here as a word for a shell, comes to be served where no list of what was revoked is
/// left.
std::string AdviceWithoutList(const std::string& folder, bool isOfThisLayout);

/// Throws Exception* for a folder that was restored and not accepted since, or that holds no private key.
void RequireAccepted(const Path& folder);

/// Throws Exception* for what is no file, or cannot be read.
void RequireFile(const Path& file);
/// Throws Exception* for a file that is no database, or is only a part of one.
void CheckIsBackup(const Path& file);

/// The certificates that the database, of any layout, accepts.
std::vector<ValidCertificate> ValidCertificates(Database& database);

} // namespace brenic::master
