// Text of unknown origin made fit to be shown on one line.
#pragma once

#include "rlib/String.h"

namespace rlib {

/// Control characters as \n, \t, \r, \xHH, those of two bytes in UTF-8 (U+0080 to U+009F) as \xHH\xHH; all
/// other bytes as they are, the backslash too. So a text without control characters comes back as it was.
String EscapeControls(const String& text);

} // namespace rlib
