#include "store/RevokedFile.h"

#include <algorithm>
#include <ctime>
#include <set>

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "farm/TextCheck.h"
#include "rlib/Escape.h"
#include "rlib/Time.h"
#include "store/DurableFiles.h"
#include "store/Store.h"

namespace brenic::master {

namespace {

constexpr off_t k_Longest = 64 * 1024 * 1024; // bytes; some 800,000 lines
constexpr size_t k_TimeBytes = 24;            // 2026-01-31T12:00:00.123Z

std::optional<int64_t> TimeOf(const std::string& text) {
  tm parts{};
  const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S.", &parts);
  if (!rest || text.size() != k_TimeBytes)
    return std::nullopt;
  const int64_t time = static_cast<int64_t>(timegm(&parts)) * 1000 + std::atoi(rest);
  // The one text of the time, and nothing else that strptime takes.
  return Time(time).Iso8601() == String(text) ? std::optional(time) : std::nullopt;
}

bool IsSerial(std::string_view text) {
  constexpr size_t k_MostDigits = 64;
  return !text.empty() && text.size() <= k_MostDigits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// How many bytes at the beginning are whole lines.
off_t EndOfLines(int file, const Path& name) {
  struct stat info {};
  if (fstat(file, &info) != 0)
    rlib::ThrowError("Cannot look at '" + name.str() + "'", errno);
  if (!S_ISREG(info.st_mode) || info.st_size > k_Longest)
    throw new Exception("'" + name.str() + "' is no list of revoked certificates");
  for (off_t end = info.st_size; end > 0; --end) {
    char last = 0;
    if (pread(file, &last, 1, end - 1) != 1)
      rlib::ThrowError("Cannot read '" + name.str() + "'", errno);
    if (last == '\n')
      return end;
  }
  return 0;
}

rlib::Result<RevokedList> FromText(const Path& file, const std::string& text) {
  RevokedList list;
  size_t begin = 0;
  for (size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const auto revocation = RevocationOfLine(text.substr(begin, end - begin));
    if (!revocation)
      return rlib::Failure(
          fmt::format("Line {} of '{}' is not a time, a serial number and a name; nothing of the file is "
                      "used. Mend that line, or take another copy of the file",
                      list.m_Revocations.size() + 1, file.str().str()));
    list.m_Revocations.push_back(*revocation);
  }
  list.m_Torn = text.substr(begin);
  return list;
}

/// Adds what the store holds as revoked, by the clients' names.
void AddRevocationsIn(Store& store, std::vector<Revocation>& revocations) {
  for (const ClientRecord& client : store.Clients()) {
    // A row that was changed past the Master must not keep the others from the file; its time is the least.
    const bool isTime = client.m_Revoked && TimeOf(Time(*client.m_Revoked).Iso8601().str());
    if (client.m_Revoked && IsSerial(client.m_Serial))
      revocations.push_back({isTime ? *client.m_Revoked : 0, client.m_Serial,
                             client.m_Name.empty() ? String("?") : rlib::Excerpt(client.m_Name)});
  }
}

} // namespace

std::optional<Revocation> RevocationOfLine(const std::string& line) {
  const size_t second = line.find(' ', k_TimeBytes + 1);
  if (line.size() <= k_TimeBytes || line[k_TimeBytes] != ' ' || second == std::string::npos)
    return std::nullopt;
  const auto time = TimeOf(line.substr(0, k_TimeBytes));
  Revocation revocation{time.value_or(0), line.substr(k_TimeBytes + 1, second - k_TimeBytes - 1),
                        line.substr(second + 1)};
  const bool isWhole = time && IsSerial(revocation.m_Serial) && !revocation.m_Name.empty() &&
                       CheckText(revocation.m_Name, k_MaxName);
  return isWhole ? std::optional(revocation) : std::nullopt;
}

std::string RevocationLine(const Revocation& revocation) {
  const std::string line = fmt::format("{} {} {}", Time(revocation.m_Time).Iso8601().str(),
                                       revocation.m_Serial, revocation.m_Name.str());
  if (RevocationOfLine(line) != revocation)
    throw new Exception("A revocation cannot be written as a line: '" + String(line) + "'");
  return line;
}

Path RevokedFile(const Path& dataFolder) {
  return dataFolder / "revoked";
}

void AppendRevocations(const Path& file, const std::vector<Revocation>& revocations) {
  std::string lines;
  for (const Revocation& revocation : revocations)
    lines += RevocationLine(revocation) + "\n";
  const FileHandle handle(open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  if (!handle)
    rlib::ThrowError("Cannot open '" + file.str() + "'", errno);
  if (flock(handle.Get(), LOCK_EX) != 0)
    rlib::ThrowError("Cannot lock '" + file.str() + "'", errno);
  // Made by root, it is still the Master's user's.
  struct stat folder {};
  if (geteuid() == 0 && stat(file.Parent().c_str(), &folder) == 0 &&
      fchown(handle.Get(), folder.st_uid, folder.st_gid) != 0)
    rlib::ThrowError("Cannot give '" + file.str() + "' to the Master's user", errno);
  const off_t end = EndOfLines(handle.Get(), file);
  const auto size = static_cast<ssize_t>(lines.size());
  const bool written = ftruncate(handle.Get(), end) == 0 &&
                       pwrite(handle.Get(), lines.data(), lines.size(), end) == size &&
                       fsync(handle.Get()) == 0;
  if (!written) {
    const int error = errno ? errno : ENOSPC; // a write that ended early
    static_cast<void>(!ftruncate(handle.Get(), end));
    rlib::ThrowError("Cannot write '" + file.str() + "'", error);
  }
  SyncFolder(file.Parent());
}

rlib::Result<std::optional<RevokedList>> ReadRevoked(const Path& file) {
  const auto failed = [&](const char* what) {
    return rlib::Failure(
        fmt::format("Cannot {} '{}': {}", what, file.str().str(), rlib::ErrorText(errno).str()));
  };
  const FileHandle handle(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!handle && errno == ENOENT)
    return std::optional<RevokedList>();
  if (!handle)
    return failed("open");
  struct stat info {};
  if (fstat(handle.Get(), &info) != 0)
    return failed("look at");
  if (!S_ISREG(info.st_mode) || info.st_size > k_Longest)
    return rlib::Failure("'" + file.str() + "' is no list of revoked certificates");
  std::string text(static_cast<size_t>(info.st_size), '\0');
  size_t got = 0;
  for (ssize_t part = 1; part > 0 && got != text.size();
       got += static_cast<size_t>(std::max<ssize_t>(part, 0))) {
    part = pread(handle.Get(), text.data() + got, text.size() - got, static_cast<off_t>(got));
    if (part < 0)
      return failed("read");
  }
  text.resize(got);
  const auto list = FromText(file, text);
  if (!list)
    return list.Why();
  return std::optional(*list);
}

size_t CompleteRevoked(const Path& file, std::vector<Revocation> revocations, Store& store) {
  AddRevocationsIn(store, revocations);
  const auto list = ReadRevoked(file);
  if (!list)
    throw new Exception(list.Reason());
  std::set<std::string> told;
  if (*list)
    for (const Revocation& revocation : (*list)->m_Revocations)
      told.insert(revocation.m_Serial);
  std::vector<Revocation> missing;
  for (const Revocation& revocation : revocations)
    if (told.insert(revocation.m_Serial).second)
      missing.push_back(revocation);
  if (!missing.empty())
    AppendRevocations(file, missing);
  return missing.size();
}

std::string TornWords(const Path& file, const RevokedList& list) {
  if (list.m_Torn.empty())
    return {};
  const std::string& torn = list.m_Torn;
  const size_t second = torn.find(' ', std::min(torn.size(), k_TimeBytes + 1));
  const bool hasSerial = second != std::string::npos && TimeOf(torn.substr(0, k_TimeBytes)) &&
                         IsSerial(std::string_view(torn).substr(k_TimeBytes + 1, second - k_TimeBytes - 1));
  const std::string known = hasSerial ? fmt::format("that the certificate {} was revoked at {}",
                                                    torn.substr(k_TimeBytes + 1, second - k_TimeBytes - 1),
                                                    torn.substr(0, k_TimeBytes))
                                      : fmt::format("no more than '{}'", rlib::Excerpt(torn).str());
  return fmt::format(
      "The last line of '{}' is incomplete and was left out; it says {}. Take the whole file if "
      "this is a copy; else it was being written when the machine stopped, and was not committed",
      file.str().str(), known);
}

} // namespace brenic::master
