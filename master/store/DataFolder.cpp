#include "store/DataFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "rlib/File.h"
#include "store/SqliteStore.h"

namespace brenic::master {

bool IsInitialised(const Path& folder) {
  return rlib::File::Exists(SqliteStore::File(folder));
}

void RequireInitialised(const Path& folder) {
  if (!IsInitialised(folder))
    throw new Exception("'" + folder.str() + "' holds no Master; run: brenic-master init --data-dir " +
                        folder.str());
}

ServeLock::ServeLock(const Path& folder) {
  const Path file = folder / "lock";
  m_File = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (m_File < 0)
    rlib::ThrowError("Cannot open '" + file.str() + "'", errno);
  if (flock(m_File, LOCK_EX | LOCK_NB) == 0)
    return;
  close(m_File);
  throw new Exception("Another brenic-master already serves '" + folder.str() + "'");
}

ServeLock::~ServeLock() {
  close(m_File);
}

} // namespace brenic::master
