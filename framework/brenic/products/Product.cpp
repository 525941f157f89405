#include "brenic/Product.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "products/JsonText.h"
#include "rlib/Number.h"

namespace brenic {

using nlohmann::json;

/// Parameter name to default, for those that have one.
struct Product::Parameters {
  rlib::map<String, json, String::ciless> m_Defaults;
};

Product::Product(const UID& type, const String& name, rlib::vector<String> aliases, std::string document)
    : m_Type(type), m_Name(name), m_Aliases(std::move(aliases)), m_Document(std::move(document)) {}

Product::~Product() = default;

namespace {

bool Equals(const json& fallback, const String& value) {
  if (fallback.is_string())
    return value == fallback.get_ref<const std::string&>().c_str() &&
           value.size() == fallback.get_ref<const std::string&>().size();
  if (fallback.is_boolean())
    return value.CompareNoCase(fallback.get<bool>() ? "true" : "false") == 0;
  if (fallback.is_null())
    return value.empty();
  if (fallback.is_number()) {
    constexpr double k_Exact = 9007199254740992; // from here on a double stands for several whole numbers
    const std::optional<double> number = rlib::ParseDouble(value);
    return value == fallback.dump().c_str() || (number && *number == fallback.get<double>() &&
                                                (fallback.is_number_float() || std::abs(*number) < k_Exact));
  }
  return json::parse(value.str(), nullptr, false) == fallback;
}

} // namespace

bool Product::IsDefaultParam(const String& name, const String& value) const {
  std::call_once(m_Parsed, [this] {
    auto parameters = std::make_unique<Parameters>();
    const json document = json::parse(m_Document, nullptr, false);
    if (document.is_object() && document.contains("parameters")) {
      for (const json& parameter : document["parameters"]) {
        const auto parameterName = parameter.find("name"); // the end for what is not an object
        if (parameterName != parameter.end() && parameterName->is_string() && parameter.contains("default"))
          parameters->m_Defaults.emplace(parameterName->get<std::string>(), parameter["default"]);
      }
    }
    m_Parameters = std::move(parameters);
  });
  const auto found = m_Parameters->m_Defaults.find(name);
  return found != m_Parameters->m_Defaults.end() && Equals(found->second, value);
}

String SSaveProduct(const Product& product, bool compact) {
  return LayOut(product.Document(), compact);
}

} // namespace brenic
