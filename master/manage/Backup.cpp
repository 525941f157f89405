#include "manage/Backup.h"

#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include "store/DataFolder.h"
#include "store/DurableFiles.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void RefuseExisting(const Path& file) {
  throw new Exception(
      "'" + file.str() +
      "' is there already, and a backup replaces nothing; give it another name, with the date "
      "say, or remove that one");
}

/// The file while it is being made, beside the one that it becomes. Locked, so that one whose maker was
/// killed is known.
class UnfinishedBackup {
public:
  explicit UnfinishedBackup(const Path& target)
      : m_Target(target), m_Name(target.Parent() / Path("." + BaseName(target) + ".unfinished")),
        m_File(Make()) {}
  ~UnfinishedBackup() {
    if (m_IsOurs)
      unlink(m_Name.c_str());
  }
  UnfinishedBackup(const UnfinishedBackup&) = delete;
  UnfinishedBackup& operator=(const UnfinishedBackup&) = delete;

  const Path& Name() const { return m_Name; }

  /// Gives it the target's name, which nobody must have taken meanwhile.
  void Finish() {
    if (renameat2(AT_FDCWD, m_Name.c_str(), AT_FDCWD, m_Target.c_str(), RENAME_NOREPLACE) != 0) {
      // Some file systems do not know how not to replace.
      const bool isUnknown = errno == EINVAL || errno == ENOSYS;
      if (errno == EEXIST || (isUnknown && access(m_Target.c_str(), F_OK) == 0))
        RefuseExisting(m_Target);
      if (!isUnknown || rename(m_Name.c_str(), m_Target.c_str()) != 0)
        rlib::ThrowError("Cannot make '" + m_Target.str() + "'", errno);
    }
    m_IsOurs = false;
    SyncFolder(m_Target.Parent());
  }

private:
  static String BaseName(const Path& path) { return fs::path(path.str().str()).filename().string(); }

  [[noreturn]] void RefuseOther() const {
    throw new Exception("Another backup to '" + m_Target.str() + "' is being made; wait for its end");
  }

  bool IsThatOf(int file) const {
    struct stat named {
    }, opened{};
    return lstat(m_Name.c_str(), &named) == 0 && fstat(file, &opened) == 0 && named.st_ino == opened.st_ino &&
           named.st_dev == opened.st_dev;
  }

  FileHandle Make() {
    RemoveLeftBehind();
    FileHandle file = MakePrivateFile(m_Name);
    if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0 || !IsThatOf(file.Get()))
      RefuseOther();
    m_IsOurs = true;
    return file;
  }

  void RemoveLeftBehind() const {
    const FileHandle left(open(m_Name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!left)
      return;
    if (flock(left.Get(), LOCK_EX | LOCK_NB) != 0)
      RefuseOther();
    unlink(m_Name.c_str());
  }

  const Path m_Target;
  const Path m_Name;
  bool m_IsOurs = false;
  const FileHandle m_File;
};

void CheckTarget(const BackupOptions& options) {
  const fs::path file(options.m_File.str().str());
  if (!file.has_filename() || file.filename() == "." || file.filename() == "..")
    throw new Exception("'" + options.m_File.str() + "' is no name of a file");
  std::error_code error;
  if (fs::exists(fs::symlink_status(file, error)))
    RefuseExisting(options.m_File);
  const fs::path folder = file.has_parent_path() ? file.parent_path() : ".";
  if (fs::equivalent(folder, options.m_Folder.str().str(), error))
    throw new Exception("A backup in the data folder would be lost with it; choose another folder, best on "
                        "another disk");
}

} // namespace

CopiedState Backup(const BackupOptions& options) {
  RequireInitialised(options.m_Folder);
  CheckTarget(options);
  UnfinishedBackup file(options.m_File);
  CopyOptions copy;
  copy.m_WithKeys = options.m_WithKeys;
  CopiedState state;
  try {
    state = CopyDatabase(SqliteStore::File(options.m_Folder), file.Name(), copy);
  } catch (const StoreFailure& failure) {
    throw StoreFailure(fmt::format("There is no backup '{}': {}", options.m_File.str().str(), failure.what()),
                       failure.Which());
  }
  file.Finish();
  return state;
}

} // namespace brenic::master
