// A data folder while it is being made: all of it, or nothing that a Master could be started on.
#pragma once

#include <memory>

#include "store/DataFolder.h"

namespace brenic::master {

/// A folder that is missing, empty, or left by an attempt that did not come to its end, which is removed.
/// Locked for as long as this is here.
class NewDataFolder {
public:
  /// Makes the folder, where it is missing, and closes it to others. Throws Exception* for one that holds a
  /// Master or anything else, or belongs to another user.
  explicit NewDataFolder(const Path& folder);

  /// What the database is made as, or in, until Finish. As long as that is there, nothing else in the folder
  /// was ever given out.
  Path Unfinished() const;

  /// Gives the database its name, last of all, with everything synced. Throws Exception*.
  void Finish(const Path& database);

private:
  const Path m_Folder;
  std::unique_ptr<ServeLock> m_Lock;
};

} // namespace brenic::master
