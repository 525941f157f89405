#include "store/DurableFiles.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace brenic::master {

FileHandle::~FileHandle() {
  if (m_File >= 0)
    close(m_File);
}

FileHandle MakePrivateFile(const Path& file) {
  const int made = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (made < 0)
    rlib::ThrowError("Cannot make '" + file.str() + "'", errno);
  return FileHandle(made);
}

void SyncFile(const Path& file) {
  const FileHandle handle(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!handle || fsync(handle.Get()) != 0)
    rlib::ThrowError("Cannot write '" + file.str() + "'", errno);
}

void SyncFolder(const Path& folder) {
  const char* const name = folder.empty() ? "." : folder.c_str();
  const FileHandle handle(open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const bool synced = handle && (fsync(handle.Get()) == 0 || errno == EINVAL); // some file systems cannot
  if (!synced)
    rlib::ThrowError("Cannot write the folder '" + Path(name).str() + "'", errno);
}

} // namespace brenic::master
