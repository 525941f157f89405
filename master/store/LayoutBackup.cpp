#include "store/LayoutBackup.h"

#include <cstdio>

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

[[noreturn]] void Throw(const char* what, const Path& file) {
  const int error = errno;
  throw StoreFailure(fmt::format("Cannot {} '{}': {}", what, file.str().str(), rlib::ErrorText(error).str()),
                     error == ENOSPC || error == EDQUOT ? StoreFailure::Kind::k_Full
                                                        : StoreFailure::Kind::k_Broken);
}

/// Made closed to others before anything is in it: it gets private keys.
void MakeEmpty(const Path& file) {
  if (unlink(file.c_str()) != 0 && errno != ENOENT) // of a start that was cut off
    Throw("remove", file);
  const int made = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (made < 0)
    Throw("make", file);
  close(made);
}

void Sync(const Path& path) {
  const int opened = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  const bool synced = opened >= 0 && fsync(opened) == 0;
  const int error = errno;
  if (opened >= 0)
    close(opened);
  errno = error;
  if (!synced)
    Throw("sync", path);
}

} // namespace

Path LayoutBackup(const Path& dataFolder, int layout) {
  return SqliteStore::File(dataFolder).str() + fmt::format(".layout{}", layout);
}

void BackUpLayout(const Path& dataFolder, int layout) {
  const Path backup = LayoutBackup(dataFolder, layout);
  const Path unfinished = backup.str() + ".new";
  MakeEmpty(unfinished);
  try {
    Database database(SqliteStore::File(dataFolder), Database::Mode::k_ReadOnly);
    Statement(database.Handle(), "VACUUM INTO ?").Run(unfinished.str());
    Sync(unfinished);
  } catch (const StoreFailure&) {
    unlink(unfinished.c_str());
    throw;
  }
  if (rename(unfinished.c_str(), backup.c_str()) != 0)
    Throw("make", backup);
  Sync(dataFolder);
}

} // namespace brenic::master
