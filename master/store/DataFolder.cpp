#include "store/DataFolder.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

std::optional<mode_t> ModeOf(const Path& file) {
  struct stat info {};
  if (stat(file.c_str(), &info) == 0)
    return info.st_mode & 07777;
  if (errno == EACCES)
    rlib::ThrowError("Cannot look at '" + file.str() + "'; run this as the Master's user or as root", errno);
  if (errno != ENOENT)
    rlib::ThrowError("Cannot look at '" + file.str() + "'", errno);
  return std::nullopt;
}

void RequireMode(const char* what, const Path& file, mode_t widest) {
  const std::optional<mode_t> mode = ModeOf(file);
  if (mode && (*mode & 0777 & ~widest))
    throw new Exception(
        fmt::format("The {} '{}' is open to other users (mode {:04o}), and holds private keys; run: "
                    "chmod {:04o} {}",
                    what, file.str().str(), *mode, widest, ShellWord(file).str()));
}

} // namespace

bool IsInitialised(const Path& folder) {
  return ModeOf(SqliteStore::File(folder)).has_value();
}

void RequireInitialised(const Path& folder) {
  if (IsInitialised(folder))
    return;
  const bool isThere = ModeOf(folder).has_value();
  throw new Exception(fmt::format(
      "{} '{}' {}. If the path is right and its disk is mounted, run: brenic-master init --data-dir {}",
      isThere ? "The folder" : "There is no folder", folder.str().str(),
      isThere ? "holds no Master" : "that could hold a Master", ShellWord(folder).str()));
}

void RequirePrivate(const Path& folder) {
  RequireMode("data folder", folder, 0700);
  for (const char* suffix : {"", "-wal", "-shm"})
    RequireMode("database", SqliteStore::File(folder).str() + suffix, 0600);
}

String ShellWord(const Path& path) {
  const std::string& text = path.str().str();
  const bool isPlain = !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) || std::strchr("/._-+:@%,=", c);
  });
  if (isPlain)
    return text;
  std::string word = "'";
  for (const char c : text)
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
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
