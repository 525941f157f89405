// A disk on which the power can fail, for tests. Preloaded into a program, it keeps apart what of its files
// was synced and what was only written:
//   POWERCUT_FOLDER  the folder whose files count
//   POWERCUT_DISK    a folder that always holds what a power cut would leave of them; NAME.dirty is what of
//   NAME would
//                    be lost
//   POWERCUT_KILL    the process is killed at its sync of this number, counted from 1, before anything is
//   synced POWERCUT_FAIL    its sync of this number fails with EIO. As on Linux, what it should have written
//   is then taken
//                    for written: it can be read as long as the machine runs, and no later sync writes it
//   POWERCUT_BAD     every sync of the file of this name fails so
//   POWERCUT_LIE     syncs do nothing and report success
//   POWERCUT_LONGEST no file gets longer than so many bytes: the process is killed in the midst of the write
//                    that would make it so. Needs none of the others
//   POWERCUT_SPARED  but for the file of this name
// A file that was removed or renamed is so at once on the disk too: what survives longest is the worst for a
// program that relies on contents that it did not sync.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct Range {
  int64_t m_Offset; // -1: the file was given the length m_Length
  int64_t m_Length;
};

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

using PwriteFunction = ssize_t(int, const void*, size_t, off_t);
using TruncateFunction = int(int, off_t);
using SyncFunction = int(int);

PwriteFunction* RealPwrite() {
  static auto* const s_Real = Real<PwriteFunction>("pwrite64");
  return s_Real;
}

TruncateFunction* RealTruncate() {
  static auto* const s_Real = Real<TruncateFunction>("ftruncate64");
  return s_Real;
}

std::string Setting(const char* name) {
  const char* const value = getenv(name);
  return value ? value : "";
}

/// Guards everything here.
std::mutex& Mutex() {
  static std::mutex s_Mutex;
  return s_Mutex;
}

/// The name of a file of the folder, by itself; empty for others.
std::string NameIn(const std::string& path) {
  static const std::string s_Folder = Setting("POWERCUT_FOLDER") + "/";
  if (s_Folder.size() == 1 || path.rfind(s_Folder, 0) != 0)
    return {};
  const std::string name = path.substr(s_Folder.size());
  const bool isShared =
      name.size() > 4 && name.compare(name.size() - 4, 4, "-shm") == 0; // never needed again
  return name.find('/') == std::string::npos && !isShared ? name : std::string();
}

std::string NameOf(int file) {
  char path[PATH_MAX];
  const auto size = readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return size > 0 ? NameIn(std::string(path, static_cast<size_t>(size))) : std::string();
}

std::string OnDisk(const std::string& name) {
  static const std::string s_Disk = Setting("POWERCUT_DISK") + "/";
  return s_Disk + name;
}

[[noreturn]] void Fail(const std::string& what) {
  perror(("powercut: " + what).c_str());
  abort();
}

class File {
public:
  File(const std::string& path, int flags) : m_File(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    if (m_File < 0)
      Fail(path);
  }
  ~File() { close(m_File); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  operator int() const { return m_File; }

private:
  const int m_File;
};

void NoteDirty(const std::string& name, Range range) {
  const File dirty(OnDisk(name) + ".dirty", O_WRONLY | O_CREAT | O_APPEND);
  if (write(dirty, &range, sizeof range) != sizeof range)
    Fail(name);
}

std::vector<Range> TakeDirty(const std::string& name) {
  const File dirty(OnDisk(name) + ".dirty", O_RDWR | O_CREAT);
  std::vector<Range> ranges;
  for (Range range; read(dirty, &range, sizeof range) == sizeof range;)
    ranges.push_back(range);
  if (RealTruncate()(dirty, 0) != 0)
    Fail(name);
  return ranges;
}

/// What is dirty of the file reaches the disk.
void WriteThrough(int file, const std::string& name) {
  const std::vector<Range> ranges = TakeDirty(name);
  // The program's own descriptor may be for writing only.
  const File from("/proc/self/fd/" + std::to_string(file), O_RDONLY);
  const File to(OnDisk(name), O_RDWR | O_CREAT);
  std::vector<char> bytes;
  for (const Range& range : ranges) {
    if (range.m_Offset < 0) {
      if (RealTruncate()(to, range.m_Length) != 0)
        Fail(name);
      continue;
    }
    bytes.resize(static_cast<size_t>(range.m_Length));
    const ssize_t got = pread(from, bytes.data(), bytes.size(), range.m_Offset);
    if (got > 0 && RealPwrite()(to, bytes.data(), static_cast<size_t>(got), range.m_Offset) != got)
      Fail(name);
  }
}

int Sync(int file, SyncFunction* real) {
  const std::string name = NameOf(file);
  if (name.empty())
    return real(file);
  static const std::string s_Kill = Setting("POWERCUT_KILL");
  static const std::string s_Fail = Setting("POWERCUT_FAIL");
  static const std::string s_Bad = Setting("POWERCUT_BAD");
  static const bool s_Lie = !Setting("POWERCUT_LIE").empty();
  const std::lock_guard lock(Mutex());
  static int s_Count = 0;
  const std::string count = std::to_string(++s_Count);
  if (count == s_Kill)
    kill(getpid(), SIGKILL);
  if (s_Lie)
    return 0;
  if (count == s_Fail || name == s_Bad) {
    TakeDirty(name);
    errno = EIO;
    return -1;
  }
  WriteThrough(file, name);
  return 0;
}

ssize_t Written(int file, ssize_t result, int64_t offset) {
  if (result > 0) {
    if (const std::string name = NameOf(file); !name.empty()) {
      const std::lock_guard lock(Mutex());
      NoteDirty(name, {offset, result});
    }
  }
  return result;
}

int Truncated(int file, int result, off_t length) {
  if (result == 0) {
    if (const std::string name = NameOf(file); !name.empty()) {
      const std::lock_guard lock(Mutex());
      NoteDirty(name, {-1, length});
    }
  }
  return result;
}

bool IsSpared(int file) {
  static const std::string s_Spared = Setting("POWERCUT_SPARED");
  char path[PATH_MAX];
  const auto size = readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return size > 0 && !s_Spared.empty() &&
         std::string(path, static_cast<size_t>(size)).ends_with("/" + s_Spared);
}

void KillWhereTooLong(int file, const void* bytes, size_t size, off_t offset) {
  static const std::string s_Longest = Setting("POWERCUT_LONGEST");
  const off_t room = s_Longest.empty() ? INT64_MAX : std::stoll(s_Longest) - offset;
  if (room >= static_cast<off_t>(size) || IsSpared(file))
    return;
  if (room > 0)
    (void)!RealPwrite()(file, bytes, static_cast<size_t>(room), offset);
  kill(getpid(), SIGKILL);
}

} // namespace

extern "C" {

ssize_t pwrite64(int file, const void* bytes, size_t size, off_t offset) {
  KillWhereTooLong(file, bytes, size, offset);
  return Written(file, RealPwrite()(file, bytes, size, offset), offset);
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
  return pwrite64(file, bytes, size, offset);
}

int ftruncate64(int file, off_t length) {
  return Truncated(file, RealTruncate()(file, length), length);
}

int ftruncate(int file, off_t length) {
  return ftruncate64(file, length);
}

int fsync(int file) {
  static auto* const s_Real = Real<SyncFunction>("fsync");
  return Sync(file, s_Real);
}

int fdatasync(int file) {
  static auto* const s_Real = Real<SyncFunction>("fdatasync");
  return Sync(file, s_Real);
}

int unlink(const char* path) {
  static auto* const s_Real = Real<int(const char*)>("unlink");
  if (const std::string name = NameIn(path); !name.empty()) {
    const std::lock_guard lock(Mutex());
    s_Real(OnDisk(name).c_str());
    s_Real((OnDisk(name) + ".dirty").c_str());
  }
  return s_Real(path);
}

int rename(const char* from, const char* to) {
  static auto* const s_Real = Real<int(const char*, const char*)>("rename");
  const std::string before = NameIn(from);
  const std::string after = NameIn(to);
  const int result = s_Real(from, to);
  if (result == 0 && !before.empty() && !after.empty()) {
    const std::lock_guard lock(Mutex());
    s_Real(OnDisk(before).c_str(), OnDisk(after).c_str());
    s_Real((OnDisk(before) + ".dirty").c_str(), (OnDisk(after) + ".dirty").c_str());
  }
  return result;
}
}
