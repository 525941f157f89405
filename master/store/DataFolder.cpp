#include "store/DataFolder.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

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
  close("0600", {database, database + "-wal", database + "-shm"});
  if (!open.empty())
    throw new Exception(
        fmt::format("Other users may look into {}, where private keys are; run: {}", open, commands));
}

rlib::Result<String> ReadSmallFile(const Path& file) {
  constexpr std::streamsize k_Most = 1024 * 1024;
  std::ifstream in(file.str().str(), std::ios::binary);
  std::string text(static_cast<size_t>(k_Most) + 1, '\0');
  if (!in || (!in.read(text.data(), k_Most + 1) && in.bad()))
    return rlib::Failure("Cannot read '" + file.str() + "': " + rlib::ErrorText(errno));
  if (in.gcount() > k_Most)
    return rlib::Failure("The file '" + file.str() + "' is longer than 1 MiB");
  text.resize(static_cast<size_t>(in.gcount()));
  return String(text);
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

Path ManagementSocket(const Path& folder) {
  return folder / "manage.sock";
}

ShortSocketPath::ShortSocketPath(const Path& socket) : m_Text(socket.str().str()) {
  constexpr size_t k_Longest = 107;
  if (m_Text.size() <= k_Longest)
    return;
  const std::filesystem::path path(m_Text);
  m_Folder = open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (m_Folder < 0)
    rlib::ThrowError("Cannot open the folder of the socket '" + socket.str() + "'", errno);
  m_Text = fmt::format("/proc/self/fd/{}/{}", m_Folder, path.filename().string());
}

ShortSocketPath::~ShortSocketPath() {
  if (m_Folder >= 0)
    close(m_Folder);
}

bool IsServed(const Path& folder) {
  const int file = open((folder / "lock").c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0)
    return false;
  const bool isFree = flock(file, LOCK_SH | LOCK_NB) == 0;
  close(file);
  return !isFree;
}

std::unique_ptr<ServeLock> ServeLock::Try(const Path& folder) {
  std::unique_ptr<ServeLock> lock(new ServeLock);
  return lock->Take(folder) ? std::move(lock) : nullptr;
}

ServeLock::ServeLock(const Path& folder) {
  if (!Take(folder))
    throw new Exception("Another brenic-master already serves '" + folder.str() + "'");
}

bool ServeLock::Take(const Path& folder) {
  const Path file = folder / "lock";
  m_File = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (m_File < 0)
    rlib::ThrowError("Cannot open '" + file.str() + "'", errno);
  return flock(m_File, LOCK_EX | LOCK_NB) == 0;
}

ServeLock::~ServeLock() {
  if (m_File >= 0)
    close(m_File);
}

} // namespace brenic::master
