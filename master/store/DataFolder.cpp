#include "store/DataFolder.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store/LayoutBackup.h"
#include "store/SqliteSchema.h"
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

bool IsOpenToOthers(const Path& file) {
  const std::optional<mode_t> mode = ModeOf(file);
  return mode && (*mode & 077);
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
  std::string open;
  std::string commands;
  const auto close = [&](const std::string& mode, const std::vector<Path>& files) {
    std::string words;
    for (const Path& file : files) {
      if (!IsOpenToOthers(file))
        continue;
      open += (open.empty() ? "'" : ", '") + file.str().str() + "'";
      words += " " + ShellWord(file).str();
    }
    if (!words.empty())
      commands += (commands.empty() ? "chmod " : " && chmod ") + mode + words;
  };
  const String database = SqliteStore::File(folder).str();
  close("0700", {folder});
  std::vector<Path> files{database, database + "-wal", database + "-shm"};
  for (int layout = 1; layout < k_Layout; ++layout)
    files.push_back(LayoutBackup(folder, layout));
  close("0600", files);
  if (!open.empty())
    throw new Exception(
        fmt::format("Other users may look into {}, where private keys are; run: {}", open, commands));
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

bool IsServed(const Path& folder) {
  const int file = open((folder / "lock").c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0)
    return false;
  const bool isFree = flock(file, LOCK_SH | LOCK_NB) == 0;
  close(file);
  return !isFree;
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
