// `backup`: a Master's database as one file.
#pragma once

#include "store/DatabaseCopy.h"

namespace brenic::master {

struct BackupOptions {
  Path m_Folder; // of the Master, which may serve meanwhile
  Path m_File;
  bool m_WithKeys = true;
};

/// Makes a backup as it is at one commit. The file appears under its name, with mode 0600, when it is whole,
/// checked and synced; an existing one is never replaced. What an attempt that was killed left beside it is
/// removed by the next one. Throws Exception* or StoreFailure.
CopiedState Backup(const BackupOptions& options);

} // namespace brenic::master
