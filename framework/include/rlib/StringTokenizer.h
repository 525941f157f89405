// Splitting a text at a separator.
#pragma once

#include <cstddef>
#include <optional>

#include "rlib/String.h"

namespace rlib {

/// Takes a text apart, one token after the other.
/// Between two quote characters separators are literal; an escape character makes the next character literal,
/// inside quotes and outside. Both are dropped from the token. A quote without an end runs to the end of the
/// text; an escape at the very end is literal. The NUL character as quote or escape turns that off.
class StringTokenizer {
public:
  /// With keepEmpty every separator ends a token, and "a;" has two. Without it, empty tokens (two separators
  /// in a row, one at either end) are left out; a quoted empty text is a token all the same.
  StringTokenizer(const String& text, char separator, bool keepEmpty = false, char quote = '"',
                  char escape = '\\');

  /// The next token; no value when there are no more.
  std::optional<String> GetNext();

private:
  const String m_Text;
  const char m_Separator;
  const bool m_KeepEmpty;
  const char m_Quote;
  const char m_Escape;
  size_t m_Next = 0;
  bool m_Done = false;
};

} // namespace rlib
