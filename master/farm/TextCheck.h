// What text the Master takes.
#pragma once

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Whether `text` can be stored: UTF-8, no control characters, at most `limit` bytes. A reason goes on from
/// what the text is: "holds a control character".
rlib::Result<> CheckText(const String& text, size_t limit);

/// Fails for text with characters that are not seen, or that change how others are (rlib::IsInvisible):
/// "holds the invisible character U+200B".
rlib::Result<> CheckVisible(const String& text);

inline constexpr size_t k_MaxName = 256; // bytes

/// Whether `name` can be that of an option or a restriction, which `what` says, with its article.
rlib::Result<> CheckName(const char* article, const char* what, const String& name);

} // namespace brenic::master
