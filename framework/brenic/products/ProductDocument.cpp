#include "products/ProductDocument.h"

#include <set>

#include <fmt/core.h>
#include <nlohmann/json.hpp>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "ProductSchema.h"
#include "products/JsonText.h"
#include "rlib/Escape.h"

namespace brenic {

namespace {

using nlohmann::json;
using rlib::Failure;
using rlib::Result;

/// Thread-safe once made: validation changes nothing in it.
const valijson::Schema& Schema() {
  static const auto s_Schema = [] {
    auto schema = std::make_unique<valijson::Schema>();
    const json document = json::parse(k_ProductSchema);
    valijson::SchemaParser(valijson::SchemaParser::kDraft7)
        .populateSchema(valijson::adapters::NlohmannJsonAdapter(document), *schema);
    return schema;
  }();
  return *s_Schema;
}

/// "parameters[2].name: ..." for the innermost of the validator's complaints, which come innermost first.
String FirstComplaint(valijson::ValidationResults& results) {
  valijson::ValidationResults::Error error;
  if (!results.popError(error))
    return "it is not valid against the schema";
  std::string place;
  for (std::string step : error.context) {
    if (step == "<root>")
      continue;
    if (step.size() > 2 && step.front() == '[' && step.back() == ']') {
      const std::string inner = step.substr(1, step.size() - 2);
      const bool number = inner.find_first_not_of("0123456789") == std::string::npos;
      step = number ? step : (place.empty() ? "" : ".") + inner;
    }
    place += step;
  }
  return fmt::format("{}: {}", place.empty() ? "the document" : place, error.description);
}

Result<> CheckNames(const Product& product) {
  std::set<String, String::ciless> seen{product.Name()};
  for (const String& alias : product.Aliases()) {
    if (!seen.insert(alias).second)
      return Failure(
          fmt::format("aliases: '{}' is its name or an alias already", rlib::EscapeControls(alias).str()));
  }
  for (const String& name : seen) {
    if (rlib::HoldsControls(name))
      return Failure(
          fmt::format("the name '{}' holds a control character", rlib::EscapeControls(name).str()));
    if (name.size() > 256)
      return Failure(fmt::format("the name '{}' is longer than 256 bytes", name.str()));
  }
  return {};
}

/// Fails with what of the schema the document breaks.
Result<> CheckSchema(const json& document) {
  const valijson::adapters::NlohmannJsonAdapter adapter(document);
  // Most documents are valid, and finding that out is quicker without noting where in the document one is.
  if (valijson::Validator().validate(Schema(), adapter, nullptr))
    return {};
  valijson::ValidationResults results;
  valijson::Validator().validate(Schema(), adapter, &results);
  return Failure(FirstComplaint(results));
}

Result<shared_ptr<Product>> ReadIndex(const json& parsed, std::string document) {
  UID type;
  if (!type.FromString(parsed["id"].get<std::string>()))
    return Failure("id: it is not an identifier");
  rlib::vector<String> aliases;
  if (const auto found = parsed.find("aliases"); found != parsed.end()) {
    for (const json& alias : *found)
      aliases.emplace_back(alias.get<std::string>());
  }
  return boost::make_shared<Product>(type, parsed["name"].get<std::string>(), std::move(aliases),
                                     std::move(document));
}

} // namespace

Result<shared_ptr<Product>> ParseProduct(std::string document) {
  if (document.size() > k_MaxProductDocument)
    return Failure(fmt::format("it is longer than {} bytes", k_MaxProductDocument));
  if (const Result<> checked = CheckJson(document, k_MaxProductDepth); !checked)
    return checked.Why();
  const json parsed = json::parse(document);
  if (const Result<> checked = CheckSchema(parsed); !checked)
    return checked.Why();
  Result<shared_ptr<Product>> product = ReadIndex(parsed, std::move(document));
  if (!product)
    return product;
  if (const Result<> checked = CheckNames(**product); !checked)
    return checked.Why();
  return product;
}

Result<shared_ptr<Product>> ParseCheckedProduct(std::string document) {
  try {
    const json parsed = json::parse(document);
    return ReadIndex(parsed, std::move(document));
  } catch (const json::exception& error) {
    return Failure(error.what());
  }
}

} // namespace brenic
