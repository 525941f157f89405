// JSON as text: what the library's values would lose.
#pragma once

#include <string>
#include <vector>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic {

/// The way to a value from the outermost one: the names of members, the indexes (from 0) of entries.
using JsonPath = std::vector<std::string>;

/// Fails, with where it is and what is expected there, unless the text is one JSON value, UTF-8, at most
/// `maxDepth` lists and objects deep, and no object has a key twice. Time and memory grow with the text only.
rlib::Result<> CheckJson(const std::string& text, int maxDepth);

/// "line 3, column 14": both from 1, columns in characters.
std::string PlaceIn(std::string_view text, size_t offset);

/// The same of a value, of a text that CheckJson takes.
std::string PlaceOf(const std::string& text, const JsonPath& path);

/// The document laid out with two spaces a level, or without any layout; members keep their order and numbers
/// their digits. Throws Exception* when it is not JSON.
std::string LayOut(const std::string& document, bool compact);

/// A text that CheckJson takes without the white space between its tokens; of any text, at most its first
/// `most` bytes of that.
std::string WithoutLayout(std::string_view text, size_t most);

} // namespace brenic
