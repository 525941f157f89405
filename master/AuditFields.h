// The contents of a request as the audit trail shows them.
#pragma once

#include <nlohmann/json.hpp>

#include "brenic/Message.h"

namespace brenic::master {

using Json = nlohmann::ordered_json;

/// A field longer than this as JSON text is replaced by its digest and size.
inline constexpr size_t k_MaxAuditField = 64 * 1024;

/// A JSON object with the fields of the message's class.
Json AuditFields(const Message& message);

/// JSON text in which invalid UTF-8 is replaced; never throws.
std::string ToText(const Json& json);

/// Adds a member whose key the object does not have: a look for it would cost as much as the object has
/// members.
void AddMember(Json& object, std::string key, Json value);

/// The roots of a translation by platform: {"0": root, ...}.
Json TranslationJson(const rlib::map<int, Path>& translation);

} // namespace brenic::master
