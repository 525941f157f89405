// JSON as text: what the library's values would lose.
#pragma once

#include <string>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic {

/// Fails, with what is wrong and where, unless the text is one JSON value, UTF-8, at most `maxDepth` lists
/// and objects deep, and no object has a key twice. Time and memory grow with the text only.
rlib::Result<> CheckJson(const std::string& text, int maxDepth);

/// The document laid out with two spaces a level, or without any layout; members keep their order and numbers
/// their digits. Throws Exception* when it is not JSON.
std::string LayOut(const std::string& document, bool compact);

} // namespace brenic
