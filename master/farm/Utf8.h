// UTF-8 as the Unicode standard defines it: no overlong forms, no surrogates, nothing above U+10FFFF.
#pragma once

#include <string_view>

namespace brenic::master {

bool IsUtf8(std::string_view text);

} // namespace brenic::master
