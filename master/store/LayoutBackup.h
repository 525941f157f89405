// What is kept of a database before it is brought to another layout.
#pragma once

#include "brenic/Types.h"

namespace brenic::master {

/// Where the copy of a database of that layout stands: beside the database.
Path LayoutBackup(const Path& dataFolder, int layout);

/// Copies the database as it is committed, with mode 0600 and synced. An earlier copy of the same layout
/// stays until the new one is complete. To be called while nobody can change the database. Throws
/// StoreFailure.
void BackUpLayout(const Path& dataFolder, int layout);

} // namespace brenic::master
