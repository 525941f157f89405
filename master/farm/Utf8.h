// UTF-8 as the Unicode standard defines it: no overlong forms, no surrogates, nothing above U+10FFFF.
#pragma once

#include <string_view>

namespace brenic::master {

bool IsUtf8(std::string_view text);

/// The beginning of a UTF-8 text, of at most so many bytes and without part of a character at its end.
std::string_view Utf8Beginning(std::string_view text, size_t most);

} // namespace brenic::master
