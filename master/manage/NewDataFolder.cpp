#include "manage/NewDataFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "manage/CredentialsFolder.h"
#include "store/DurableFiles.h"
#include "store/RevokedFile.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

namespace fs = std::filesystem;

void RefuseExisting(const Path& folder) {
  if (IsInitialised(folder))
    throw new Exception("'" + folder.str() + "' already holds a Master");
}

bool IsThere(const Path& file) {
  std::error_code error;
  return fs::exists(fs::symlink_status(file.str().str(), error));
}

/// Not every folder may be taken over: closing it to others and filling it could harm what it is for.
void CheckMayTake(const Path& folder, bool isUnfinished) {
  struct stat info {};
  if (stat(folder.c_str(), &info) != 0)
    rlib::ThrowError("Cannot look at the folder '" + folder.str() + "'", errno);
  if (info.st_uid != geteuid())
    throw new Exception("'" + folder.str() + "' belongs to another user");
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder.str().str(), error)) {
    const std::string name = entry.path().filename().string();
    const bool remains = name == "clients" || name == "revoked" || name.rfind("master.db.new", 0) == 0;
    if (name != "lock" && !(isUnfinished && remains))
      throw new Exception("'" + folder.str() + "' is not empty and holds no Master: there is '" + name +
                          "' and no master.db");
  }
  if (error)
    throw new Exception("Cannot read the folder '" + folder.str() + "': " + error.message());
}

void RemoveUnfinished(const Path& folder, const Path& unfinished) {
  fs::remove_all((folder / "clients").str().str());
  fs::remove(RevokedFile(folder).str().str());
  for (const char* suffix : {"-wal", "-shm", "-journal", ""}) // the one that tells goes last
    fs::remove_all(unfinished.str().str() + suffix);
}

} // namespace

NewDataFolder::NewDataFolder(const Path& folder) : m_Folder(folder) {
  RefuseExisting(folder);
  MakeFolder(folder, 0700);
  CheckMayTake(folder, IsThere(Unfinished()));
  m_Lock = std::make_unique<ServeLock>(folder);
  RefuseExisting(folder); // somebody else may just have come to the end of it
  if (IsThere(Unfinished()))
    RemoveUnfinished(folder, Unfinished());
  if (chmod(folder.c_str(), 0700) != 0)
    rlib::ThrowError("Cannot close the folder '" + folder.str() + "' to others", errno);
}

Path NewDataFolder::Unfinished() const {
  return m_Folder / "master.db.new";
}

void NewDataFolder::Finish(const Path& database) {
  SyncFolder(m_Folder);
  if (rename(database.c_str(), SqliteStore::File(m_Folder).c_str()) != 0)
    rlib::ThrowError("Cannot finish the database in '" + m_Folder.str() + "'", errno);
  fs::remove_all(Unfinished().str().str());
  SyncFolder(m_Folder);
  SyncFolder(Path(fs::absolute(m_Folder.str().str()).lexically_normal().parent_path().string()));
}

} // namespace brenic::master
