// UTF-8 as the Unicode standard defines it: no overlong forms, no surrogates, nothing above U+10FFFF.
#pragma once

#include <optional>
#include <string_view>

namespace rlib {

struct Utf8Character {
  char32_t m_Code = 0;
  size_t m_Bytes = 0;
};

/// The character at the beginning; none where there is no well-formed one.
std::optional<Utf8Character> FirstCharacter(std::string_view text);

bool IsUtf8(std::string_view text);

/// The beginning of a UTF-8 text, of at most so many bytes and without part of a character at its end.
std::string_view Utf8Beginning(std::string_view text, size_t most);

/// White space of any script; line ends and tabs are control characters.
bool IsSpace(char32_t character);

/// What shows as nothing at all, as a plain space that it is not, or turns the order of what stands around
/// it: control characters, zero-width ones, marks of direction, spaces that do not break, tags.
bool IsInvisible(char32_t character);

} // namespace rlib
