// What text the Master takes.
#pragma once

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Whether `text` can be stored: UTF-8, no control characters, at most `limit` bytes.
rlib::Result<> CheckText(const String& text, size_t limit);

} // namespace brenic::master
