// What text the Master takes.
#pragma once

#include "brenic/Types.h"

namespace brenic::master {

/// Why `text` cannot be stored, empty when it can: no UTF-8, control characters, more than `limit` bytes.
String CheckText(const String& text, size_t limit);

} // namespace brenic::master
