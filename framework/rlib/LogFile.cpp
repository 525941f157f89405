#include "LogFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "rlib/Exception.h"

namespace rlib {

Result<> LogFile::Open(const std::string& path) {
  m_Path = path;
  Result<> opened = OpenOnce();
  if (!opened || m_Size < k_MaxSize)
    return opened;
  // Who holds the lock is moving the file aside at this moment; then there is nothing left to do but to open
  // anew. Not waiting for it means that nobody can stop us by holding it.
  if (flock(m_Fd.Get(), LOCK_EX | LOCK_NB) == 0 && IsCurrent())
    Rotate();
  return OpenOnce();
}

Result<> LogFile::OpenOnce() {
  Descriptor file(
      open(m_Path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0640));
  if (!file)
    return Failure(errno == ELOOP ? "it is a symbolic link" : ErrorText(errno));
  struct stat status {};
  fstat(file.Get(), &status);
  if (!S_ISREG(status.st_mode) || status.st_nlink > 1)
    return Failure("it is not an ordinary file");
  m_Fd = std::move(file);
  m_Size = status.st_size;
  return {};
}

bool LogFile::IsCurrent() const {
  struct stat ours {};
  struct stat named {};
  return fstat(m_Fd.Get(), &ours) == 0 && lstat(m_Path.c_str(), &named) == 0 && ours.st_ino == named.st_ino &&
         ours.st_dev == named.st_dev;
}

// A failed rename leaves a file that grows on, which loses no line.
void LogFile::Rotate() const {
  for (int number = k_Kept - 1; number >= 1; --number) {
    const std::string from = m_Path + "." + std::to_string(number);
    const std::string to = m_Path + "." + std::to_string(number + 1);
    if (std::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT)
      return;
  }
  static_cast<void>(std::rename(m_Path.c_str(), (m_Path + ".1").c_str()));
}

Result<> LogFile::Append(std::string_view line) {
  const int error = WriteAll(m_Fd.Get(), line);
  m_Size += static_cast<int64_t>(line.size());
  if (error != 0)
    return Failure("Cannot write to the log file '" + String(m_Path) + "': " + ErrorText(error));
  if (m_Size < k_MaxSize)
    return {};
  // A process that runs for long does not outgrow the limit either.
  const Result<> opened = Open(m_Path);
  if (m_Size >= k_MaxSize)
    m_Size = 0; // It could not be moved aside; the next attempt comes after as many bytes again.
  if (!opened)
    return Failure("Cannot open the log file '" + String(m_Path) +
                   "' anew, so the earlier one is written on: " + opened.Reason());
  return {};
}

} // namespace rlib
