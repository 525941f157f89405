// JSON as the subcommands print it.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "brenic/Types.h"

namespace brenic::master {

using Json = nlohmann::ordered_json;

/// JSON text in which invalid UTF-8 is replaced; never throws.
std::string ToText(const Json& json);

/// The same JSON as a line that a terminal can be given: also DEL, U+0080 to U+009F and what turns the
/// direction of writing are escaped. Not for digests.
std::string ToLine(const Json& json);

/// Adds a member whose key the object does not have: a look for it would cost as much as the object has
/// members.
void AddMember(Json& object, std::string key, Json value);

/// The roots of a translation by platform: {"0": root, ...}.
Json TranslationJson(const rlib::map<int, Path>& translation);

} // namespace brenic::master
