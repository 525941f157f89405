// Product definitions in files.
#pragma once

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic {

/// What the file holds, or the first bytes of it, one more than a document may have. Fails when the file
/// cannot be read; never waits: what is not a regular file is not read.
rlib::Result<std::string> ReadProductFile(const Path& file);

} // namespace brenic
