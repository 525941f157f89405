#include "rlib/OutFile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "rlib/Exception.h"
#include "rlib/UID.h"

namespace rlib {
namespace {

constexpr size_t k_BufferSize = 64 << 10;
constexpr int k_MaxLinks = 40;

/// The name that a symbolic link finally leads to, which need not exist. The folders above are left to the
/// kernel.
Result<Path> FollowLinks(Path path) {
  for (int i = 0; i < k_MaxLinks; ++i) {
    char target[PATH_MAX];
    const ssize_t size = readlink(path.c_str(), target, sizeof(target));
    if (size < 0)
      return path; // No link, or nothing there.
    path = path.Parent() / Path(String(target, static_cast<size_t>(size)));
  }
  return Failure(ErrorText(ELOOP));
}

Result<> SyncFolder(const Path& folder) {
  const Descriptor fd(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // A folder may be writable and not readable. Some file systems cannot sync a folder and say so with EINVAL.
  if (fd ? fsync(fd.Get()) != 0 && errno != EINVAL : errno != EACCES)
    return Failure(ErrorText(errno));
  return {};
}

} // namespace

OutFile::OutFile(const Path& path, int mode, bool exclusive, bool createFolders, int permissions)
    : m_Path(path), m_Exclusive(exclusive) {
  if ((mode & (k_Write | k_Truncate)) != (k_Write | k_Truncate))
    Fail(EINVAL);
  if (path.empty())
    Fail(ENOENT);
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (!exists && errno != ENOENT)
    Fail(errno);
  if (exists && exclusive)
    Fail(EEXIST);
  if (exists && S_ISDIR(status.st_mode))
    Fail(EISDIR);

  const Result<Path> followed = FollowLinks(path);
  if (!followed)
    Fail(followed.Why());
  m_Target = *followed;
  struct stat target {};
  // Links of /proc lead to open files whose names may be gone; those are written through.
  const bool replaceable = exists && S_ISREG(status.st_mode) && lstat(m_Target.c_str(), &target) == 0 &&
                           target.st_ino == status.st_ino && target.st_dev == status.st_dev;
  if (exists && !replaceable) {
    // Without waiting for somebody to read: a pipe that nobody reads is an error.
    m_Fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (m_Fd < 0)
      Fail(errno);
    return;
  }
  if (!exists) {
    if (!(mode & k_Create))
      Fail(ENOENT);
    const Path folder = m_Target.Parent();
    if (createFolders && !folder.empty())
      if (const Result<> made = MakeFolders(folder.str().str(), 0755); !made)
        Fail(made.Why());
  } else if (faccessat(AT_FDCWD, m_Target.c_str(), W_OK, AT_EACCESS) != 0) {
    Fail(errno); // A file that is read-only is not replaced either.
  }
  OpenTemporary(exists, status.st_mode & 07777, status.st_uid, status.st_gid, permissions);
}

OutFile::~OutFile() {
  Abandon();
}

void OutFile::OpenTemporary(bool exists, mode_t mode, uid_t owner, gid_t group, int permissions) {
  m_Temporary = m_Target.Parent() / Path(".brenic-" + UID(true).ToString() + ".tmp");
  const mode_t initial = exists ? 0600 : permissions < 0 ? 0666 : static_cast<mode_t>(permissions);
  m_Fd = open(m_Temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, initial);
  if (m_Fd < 0) {
    const int error = errno;
    m_Temporary = Path(); // Not ours to remove.
    Fail(error);
  }
  struct stat status {};
  if (!exists)
    return;
  if (fstat(m_Fd, &status) != 0)
    Fail(errno);
  if ((status.st_uid != owner || status.st_gid != group) && fchown(m_Fd, owner, group) != 0)
    Fail(errno); // Replacing it would take it away from its owner.
  if (fchmod(m_Fd, mode) != 0)
    Fail(errno);
}

void OutFile::Write(std::string_view text) {
  if (m_Fd < 0)
    Fail(EBADF);
  m_Buffer.append(text);
  if (m_Buffer.size() >= k_BufferSize)
    Flush();
}

void OutFile::Flush() {
  const int error = WriteAll(m_Fd, m_Buffer);
  m_Buffer.clear();
  if (error != 0)
    Fail(error);
}

void OutFile::Close(bool discard) {
  if (m_Fd < 0)
    return;
  if (discard)
    return Abandon();
  Flush();
  const bool replace = !m_Temporary.empty();
  if (replace && fsync(m_Fd) != 0)
    Fail(errno);
  const int fd = m_Fd;
  m_Fd = -1;
  if (close(fd) != 0)
    Fail(errno);
  if (!replace)
    return;
  // link() instead of rename() never replaces what somebody made in the meantime.
  if (m_Exclusive ? link(m_Temporary.c_str(), m_Target.c_str()) != 0
                  : rename(m_Temporary.c_str(), m_Target.c_str()) != 0)
    Fail(errno);
  if (m_Exclusive)
    unlink(m_Temporary.c_str());
  m_Temporary = Path();
  if (const Result<> synced = SyncFolder(m_Target.Parent()); !synced)
    Fail(synced.Why());
}

void OutFile::Abandon() noexcept {
  if (m_Fd >= 0)
    close(m_Fd);
  m_Fd = -1;
  if (!m_Temporary.empty())
    unlink(m_Temporary.c_str());
  m_Temporary = Path();
  m_Buffer.clear();
}

void OutFile::Fail(int error) {
  Fail(Failure(ErrorText(error)));
}

void OutFile::Fail(const Failure& why) {
  Abandon();
  throw new Exception("Cannot write '" + m_Path.str() + "': " + why.Reason());
}

} // namespace rlib
