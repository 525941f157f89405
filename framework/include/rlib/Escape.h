// Text of unknown origin made fit to be shown on one line.
#pragma once

#include <string>
#include <string_view>

#include "rlib/String.h"

namespace rlib {

/// What would do something to a terminal or to the line, written out: control characters as \n, \t, \r, \xHH;
/// byte by byte as \xHH those above ASCII (U+0080 to U+009F, alone as bytes too), what turns the direction of
/// writing (U+202A to U+202E, U+2066 to U+2069), and the separators of lines and paragraphs (U+2028, U+2029).
/// All other bytes as they are, the backslash too. So a text without such characters comes back as it was.
String EscapeControls(const String& text);

/// JSON text on one line with the same characters in its strings as \u escapes, so that it says the same.
std::string EscapeControlsInJson(std::string_view json);

/// Whether there is a control character in it: up to U+001F, U+007F to U+009F.
bool HoldsControls(std::string_view text);

/// The way to quote in a line what somebody else wrote: its first 64 bytes, cut between two characters and
/// then followed by "...". Controls as above; what else one would not see (zero-width, marks of direction,
/// non-breaking spaces) as \u{HEX}, bytes that are no UTF-8 as \xHH.
String Excerpt(const String& text);

} // namespace rlib
