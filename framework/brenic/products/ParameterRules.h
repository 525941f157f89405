// What a product's definition says of the values of a parameter, beyond its type: the members `required`,
// `choices`, `minimum`, `maximum`, `label` and `group`. Products from before these had a meaning may hold
// anything there and are read all the same; a Master judges them where they are new.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace brenic {

inline constexpr const char* k_ParameterRules[] = {"required", "choices", "minimum",
                                                   "maximum",  "label",   "group"};

/// Something wrong with a member of a parameter.
struct BrokenRule {
  std::string m_Member; // one of k_ParameterRules, or "default"
  std::string m_What;   // "required is 5, where true or false is expected"

  friend bool operator==(const BrokenRule&, const BrokenRule&) = default;
};

/// Whether a value is one of the type; null is of every type, and every value of the empty type.
bool FitsType(const nlohmann::json& value, const std::string& type);

/// All that is wrong with the rules of a parameter, and with its default by them; whether that fits its type
/// is not looked at. Of a parameter of a document that ParseProduct takes.
std::vector<BrokenRule> BrokenRulesOf(const nlohmann::json& parameter);

} // namespace brenic
