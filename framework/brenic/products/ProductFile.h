// Product definitions in files.
#pragma once

#include <chrono>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic {

/// What the file holds, or the first bytes of it, one more than k_MaxProductFile. Fails when the file cannot
/// be read. Waits for nothing but a pipe: for each part of what comes out of it, at most so long. With none,
/// a pipe is not read either; a device never is.
rlib::Result<std::string> ReadProductFile(const Path& file, std::chrono::milliseconds pipe = {});

} // namespace brenic
