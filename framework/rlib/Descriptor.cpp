#include "Descriptor.h"

#include <cerrno>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "rlib/Exception.h"

namespace rlib {

void Descriptor::Reset(int fd) {
  if (m_Fd >= 0)
    close(m_Fd);
  m_Fd = fd;
}

int WriteAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = write(fd, data.data(), data.size());
    if (written >= 0) {
      data.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd ready{fd, POLLOUT, 0};
      if (poll(&ready, 1, -1) < 0 && errno != EINTR)
        return errno;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

Result<size_t> ReadSome(int fd, char* buffer, size_t size) {
  for (;;) {
    const ssize_t got = read(fd, buffer, size);
    if (got >= 0)
      return static_cast<size_t>(got);
    if (errno != EINTR)
      return Failure(ErrorText(errno));
  }
}

Result<> MakeFolders(const std::string& path, mode_t leafMode) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
    if (mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST && errno != EROFS &&
        errno != EACCES)
      return Failure(ErrorText(errno));
  struct stat status {};
  if (mkdir(path.c_str(), leafMode) == 0)
    return {};
  const int error = errno;
  if (stat(path.c_str(), &status) != 0)
    return Failure(ErrorText(error));
  if (!S_ISDIR(status.st_mode))
    return Failure(ErrorText(ENOTDIR));
  return {};
}

} // namespace rlib
