// The folder that holds everything of one Master: database, lock, log, the first administrator's credentials.
#pragma once

#include "brenic/Types.h"

namespace brenic::master {

/// Whether the folder holds a Master; no folder holds none. Throws Exception* when that cannot be seen.
bool IsInitialised(const Path& folder);
/// Throws Exception* unless the folder holds a Master.
void RequireInitialised(const Path& folder);
/// Throws Exception* when others than the owner may do anything with the folder or the database, which hold
/// private keys.
void RequirePrivate(const Path& folder);

/// The path as a shell takes it for one word.
String ShellWord(const Path& path);

/// Whether another process makes or serves the data folder now.
bool IsServed(const Path& folder);

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
