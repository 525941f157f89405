#include "rlib/OutFile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "TemporaryFile.h"
#include "rlib/Exception.h"

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

/// Failures by which a system says that a file must not be replaced, though it may be written: no right to
/// the folder or to give the file away, a file of somebody else in a shared folder, a mounted one.
bool IsNotAllowed(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

int ErrnoUnless(bool good) {
  return good ? 0 : errno;
}

} // namespace

OutFile::OutFile(const Path& path, int mode, bool exclusive, bool createFolders, int permissions)
    : m_Path(path), m_Exclusive(exclusive),
      m_Permissions(permissions < 0 ? 0666 : static_cast<mode_t>(permissions)) {
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
  } else if (exists) {
    if (faccessat(AT_FDCWD, m_Target.c_str(), W_OK, AT_EACCESS) != 0)
      Fail(errno); // A file that is read-only is not replaced either.
    m_Earlier = {status.st_mode & 07777, status.st_uid, status.st_gid};
  } else {
    if (!(mode & k_Create))
      Fail(ENOENT);
    const Path folder = m_Target.Parent();
    if (createFolders && !folder.empty())
      if (const Result<> made = MakeFolders(folder.str().str(), 0755); !made)
        Fail(made.Why());
  }
  m_IsOpen = true;
}

OutFile::~OutFile() {
  Abandon();
}

void OutFile::Write(std::string_view text) {
  if (!m_IsOpen)
    Fail(EBADF);
  m_Text.append(text);
  if (m_Fd >= 0 && m_Text.size() >= k_BufferSize)
    if (const int error = Flush())
      Fail(error);
}

void OutFile::Close(bool discard) {
  if (!m_IsOpen || discard)
    return Abandon();
  if (m_Fd >= 0) {
    if (const int error = CloseThrough())
      Fail(error);
    return Abandon();
  }
  int error = Replace();
  const bool replaced = error == 0;
  if (m_Earlier && IsNotAllowed(error))
    error = WriteOver();
  if (error != 0)
    Fail(error);
  Abandon();
  if (!replaced)
    return;
  if (const Result<> synced = SyncFolder(m_Target.Parent()); !synced)
    throw new Exception(
        "'" + m_Path.str() +
        "' was written, but a power cut may undo that: its folder cannot be synced: " + synced.Reason());
}

int OutFile::Flush() {
  const int error = WriteAll(m_Fd, m_Text);
  m_Text.clear();
  return error;
}

int OutFile::CloseThrough() {
  if (const int error = Flush())
    return error;
  const int fd = m_Fd;
  m_Fd = -1;
  return ErrnoUnless(close(fd) == 0);
}

int OutFile::Replace() {
  TemporaryFile file(m_Target);
  if (const int error = file.Make(m_Earlier ? 0600 : m_Permissions))
    return error;
  if (m_Earlier) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0)
      return errno;
    const bool isItsOwners = status.st_uid == m_Earlier->m_Owner && status.st_gid == m_Earlier->m_Group;
    if (!isItsOwners && fchown(file.Get(), m_Earlier->m_Owner, m_Earlier->m_Group) != 0)
      return errno;
    if (fchmod(file.Get(), m_Earlier->m_Mode) != 0)
      return errno;
  }
  if (const int error = WriteAll(file.Get(), m_Text))
    return error;
  if (fsync(file.Get()) != 0)
    return errno;
  return file.Move(m_Exclusive);
}

/// The earlier contents are gone only once there is room for the new.
int OutFile::WriteOver() {
  const Descriptor file(open(m_Target.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file)
    return errno;
  struct stat status {};
  if (fstat(file.Get(), &status) != 0)
    return errno;
  const auto size = static_cast<off_t>(m_Text.size());
  if (size > status.st_size) {
    if (const int error = posix_fallocate(file.Get(), status.st_size, size - status.st_size)) {
      static_cast<void>(ftruncate(file.Get(), status.st_size));
      return error;
    }
  }
  if (const int error = WriteAll(file.Get(), m_Text))
    return error;
  return ErrnoUnless(ftruncate(file.Get(), size) == 0 && fsync(file.Get()) == 0);
}

void OutFile::Abandon() noexcept {
  if (m_Fd >= 0)
    close(m_Fd);
  m_Fd = -1;
  m_IsOpen = false;
  m_Text.clear();
}

void OutFile::Fail(int error) {
  Fail(Failure(ErrorText(error)));
}

void OutFile::Fail(const Failure& why) {
  Abandon();
  throw new Exception("Cannot write '" + m_Path.str() + "': " + why.Reason());
}

} // namespace rlib
