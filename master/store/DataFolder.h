// The folder that holds everything of one Master: database, lock, log, the first administrator's credentials.
#pragma once

#include "brenic/Types.h"

namespace brenic::master {

bool IsInitialised(const Path& folder);
/// Throws Exception* unless the folder holds a Master.
void RequireInitialised(const Path& folder);

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
