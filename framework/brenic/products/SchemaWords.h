// What is wrong with a value, by the schema that it breaks, in words for those who write product definitions.
#pragma once

#include <nlohmann/json.hpp>

#include "products/JsonText.h"

namespace brenic {

/// "entry 2 of "aliases"", "the definition" for the outermost value.
std::string Called(const nlohmann::json& document, const JsonPath& path);

/// What the schema expects at the place and what stands there. Understands what docs/product.schema.json
/// uses: `properties`, `items`, `required`, `type`, `enum`, references to `definitions`; where a part has a
/// `title`, that says what is expected.
std::string Complaint(const nlohmann::json& schema, const nlohmann::json& document, const JsonPath& path);

} // namespace brenic
