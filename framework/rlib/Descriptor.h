// File descriptors and the system's calls on them.
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

#include "rlib/Result.h"

namespace rlib {

/// Owns a file descriptor; closes it without looking at the result, so only for what was read or synced.
class Descriptor {
public:
  explicit Descriptor(int fd = -1) : m_Fd(fd) {}
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& other) noexcept : m_Fd(other.m_Fd) { other.m_Fd = -1; }
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Reset(other.m_Fd);
      other.m_Fd = -1;
    }
    return *this;
  }

  int Get() const { return m_Fd; }
  explicit operator bool() const { return m_Fd >= 0; }
  void Reset(int fd = -1);

private:
  int m_Fd;
};

/// Writes everything, through interruptions and short writes, waiting where a non-blocking descriptor is
/// full. Returns 0, or the errno value of the failure: it is async-signal-safe, so it allocates nothing.
[[nodiscard]] int WriteAll(int fd, std::string_view data);

/// read() through interruptions: how many bytes were read, 0 at the end.
Result<size_t> ReadSome(int fd, char* buffer, size_t size);

/// Makes a folder and what is missing above it (those with mode 0755 less the umask).
Result<> MakeFolders(const std::string& path, mode_t leafMode);

} // namespace rlib
