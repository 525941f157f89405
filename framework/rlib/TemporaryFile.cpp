#include "TemporaryFile.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <unistd.h>

#include "rlib/UID.h"

namespace rlib {
namespace {

constexpr std::string_view k_End = ".brenic";
constexpr size_t k_MostOfName = 90; // some file systems allow no more than 143 bytes in all

std::string BeginningOfName(const Path& target) {
  const std::string& text = target.str().str();
  return "." + text.substr(text.rfind('/') + 1).substr(0, k_MostOfName) + ".";
}

bool IsNameFor(std::string_view name, std::string_view beginning) {
  constexpr size_t k_UidSize = 36;
  return name.size() == beginning.size() + k_UidSize + k_End.size() && name.starts_with(beginning) &&
         name.ends_with(k_End);
}

} // namespace

int TemporaryFile::Make(mode_t mode) {
  RemoveLeftBehind();
  int error = 0;
  do
    error = MakeOnce(mode);
  while (error == ESTALE);
  return error;
}

/// ESTALE: somebody took it for left behind before it was locked.
int TemporaryFile::MakeOnce(mode_t mode) {
  m_Name = m_Target.Parent() / Path(BeginningOfName(m_Target) + UID(true).ToString() + String(k_End));
  m_File.Reset(open(m_Name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!m_File) {
    m_Name = Path(); // not ours to remove
    return errno;
  }
  // A file system without locks has nobody who removes what is left behind.
  static_cast<void>(flock(m_File.Get(), LOCK_EX));
  return access(m_Name.c_str(), F_OK) == 0 ? 0 : ESTALE;
}

void TemporaryFile::RemoveLeftBehind() const {
  const Path folder = m_Target.Parent();
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.empty() ? "." : folder.c_str()), closedir);
  const std::string beginning = BeginningOfName(m_Target);
  while (const dirent* const entry = entries ? readdir(entries.get()) : nullptr) {
    if (!IsNameFor(entry->d_name, beginning))
      continue;
    const Path name = folder / Path(entry->d_name);
    const Descriptor file(open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file && flock(file.Get(), LOCK_EX | LOCK_NB) == 0)
      unlink(name.c_str());
  }
}

int TemporaryFile::Move(bool exclusive) {
  // link() instead of rename() never replaces what somebody made in the meantime.
  if (exclusive)
    return link(m_Name.c_str(), m_Target.c_str()) == 0 ? 0 : errno;
  if (std::rename(m_Name.c_str(), m_Target.c_str()) != 0)
    return errno;
  m_Name = Path();
  return 0;
}

void TemporaryFile::Remove() noexcept {
  if (!m_Name.empty())
    unlink(m_Name.c_str());
}

} // namespace rlib
