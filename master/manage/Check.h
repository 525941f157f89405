// `check`: whether a Master, or a backup of one, is whole.
#pragma once

#include "store/Findings.h"

namespace brenic::master {

/// A data folder, also while it is served: everything as it is at one commit, and what stands beside the
/// database. Holds up nobody. Throws Exception* or StoreFailure when it cannot be looked at.
Findings CheckFolder(const Path& folder);

/// What `backup` made. Throws the same.
Findings CheckFile(const Path& file);

/// What was found, in lines for people; the last one says what was looked at.
std::string FindingsText(const Findings& findings);
/// The same as one JSON object, on one line.
std::string FindingsJson(const Findings& findings);

} // namespace brenic::master
