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
#include "products/ParameterRules.h"
#include "products/SchemaWords.h"
#include "rlib/Escape.h"

namespace brenic {

namespace {

using nlohmann::json;
using rlib::Failure;
using rlib::Result;

/// As published, but for what the validator would take too long for or do in bytes where characters are
/// meant, which CheckNames does, and for what products from before it meant something may break
/// (ParameterRules.h).
const json& SchemaDocument() {
  static const json s_Document = [] {
    json document = json::parse(k_ProductSchema);
    document["definitions"]["name"].erase("pattern");
    document["properties"]["aliases"].erase("uniqueItems");
    for (const char* rule : k_ParameterRules)
      document["properties"]["parameters"]["items"]["properties"].erase(rule);
    return document;
  }();
  return s_Document;
}

/// Thread-safe once made: validation changes nothing in it.
const valijson::Schema& Schema() {
  static const auto s_Schema = [] {
    auto schema = std::make_unique<valijson::Schema>();
    valijson::SchemaParser(valijson::SchemaParser::kDraft7)
        .populateSchema(valijson::adapters::NlohmannJsonAdapter(SchemaDocument()), *schema);
    return schema;
  }();
  return *s_Schema;
}

/// The place of the validator's first complaint: of the innermost, which come first.
JsonPath PathOf(valijson::ValidationResults& results) {
  valijson::ValidationResults::Error error;
  JsonPath path;
  results.popError(error);
  for (const std::string& step : error.context) {
    if (step.size() > 2 && step.front() == '[' && step.back() == ']')
      path.push_back(step.substr(1, step.size() - 2));
  }
  return path;
}

/// Fails with what of the schema the document breaks, and where.
Result<> CheckSchema(const json& parsed, const std::string& document) {
  const valijson::adapters::NlohmannJsonAdapter adapter(parsed);
  // Most documents are valid, and finding that out is quicker without noting where in the document one is.
  if (valijson::Validator().validate(Schema(), adapter, nullptr))
    return {};
  valijson::ValidationResults results;
  valijson::Validator().validate(Schema(), adapter, &results);
  const JsonPath path = PathOf(results);
  return Failure(PlaceOf(document, path) + ": " + Complaint(SchemaDocument(), parsed, path));
}

/// What the schema cannot say of names, or the validator not check.
Result<> CheckNames(const Product& product, const json& parsed, const std::string& document) {
  std::set<String, String::ciless> seen;
  const auto check = [&](const String& name, const JsonPath& path) -> Result<> {
    const char* const wrong = rlib::HoldsControls(name)        ? "holds a control character"
                              : name.size() > k_MaxProductName ? "is longer than 256 bytes"
                              : !seen.insert(name).second      ? "is its name or an alias already"
                                                               : nullptr;
    if (!wrong)
      return {};
    return Failure(fmt::format("{}: {}, '{}', {}", PlaceOf(document, path), Called(parsed, path),
                               rlib::Excerpt(name).str(), wrong));
  };
  if (auto checked = check(product.Name(), {"name"}); !checked)
    return checked;
  for (size_t i = 0; i < product.Aliases().size(); ++i) {
    if (auto checked = check(product.Aliases()[i], {"aliases", std::to_string(i)}); !checked)
      return checked;
  }
  return {};
}

Result<shared_ptr<Product>> ReadIndex(const json& parsed, std::string document) {
  UID type;
  if (!type.FromString(parsed.at("id").get<std::string>()))
    return Failure("\"id\" is no identifier");
  rlib::vector<String> aliases;
  if (const auto found = parsed.find("aliases"); found != parsed.end()) {
    for (const json& alias : *found)
      aliases.emplace_back(alias.get<std::string>());
  }
  return boost::make_shared<Product>(type, parsed.at("name").get<std::string>(), std::move(aliases),
                                     std::move(document));
}

} // namespace

std::vector<ProductParameter> ParametersOf(const Product& product) {
  std::vector<ProductParameter> parameters;
  const json document = json::parse(product.Document());
  const auto found = document.find("parameters");
  if (found == document.end())
    return parameters;
  for (const json& entry : *found) {
    ProductParameter& parameter = parameters.emplace_back();
    parameter.m_Name = entry["name"].get<std::string>();
    parameter.m_Type = entry.value("type", "");
    parameter.m_Default = entry.contains("default") ? entry["default"].dump() : "";
    parameter.m_DefaultFits = !entry.contains("default") || FitsType(entry["default"], parameter.m_Type);
    parameter.m_Broken = BrokenRulesOf(entry);
  }
  return parameters;
}

Result<shared_ptr<Product>> ParseProduct(const std::string& document) {
  const bool isLong = document.size() > k_MaxProductDocument;
  // What is kept of a long one is as short as can be; of another, the text as it came.
  std::string kept = isLong ? WithoutLayout(document, k_MaxProductDocument + 1) : document;
  if (kept.size() > k_MaxProductDocument)
    return Failure(fmt::format("it is longer than {} bytes, the layout not counted", k_MaxProductDocument));
  if (const Result<> checked = CheckJson(document, k_MaxProductDepth); !checked)
    return checked.Why();
  const json parsed = json::parse(kept);
  if (const Result<> checked = CheckSchema(parsed, document); !checked)
    return checked.Why();
  Result<shared_ptr<Product>> product = ReadIndex(parsed, std::move(kept));
  if (!product)
    return product;
  if (const Result<> checked = CheckNames(**product, parsed, document); !checked)
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
