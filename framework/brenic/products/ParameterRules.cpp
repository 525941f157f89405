#include "products/ParameterRules.h"

#include <cmath>
#include <set>

#include <fmt/core.h>

#include "products/ProductDocument.h"
#include "rlib/Escape.h"

namespace brenic {

namespace {

using nlohmann::json;

/// Wide enough for every number that JSON text is read as.
long double Number(const json& value) {
  return value.is_number_unsigned()  ? static_cast<long double>(value.get<uint64_t>())
         : value.is_number_integer() ? static_cast<long double>(value.get<int64_t>())
                                     : static_cast<long double>(value.get<double>());
}

/// The same for values that are equal: 5 and 5.0, too.
std::string Key(const json& value) {
  return value.is_number() ? fmt::format("{:.21Lg}", Number(value)) : value.dump();
}

std::string Shown(const json& value) {
  return value.is_object()  ? "an object"
         : value.is_array() ? "a list"
                            : rlib::Excerpt(value.dump(-1, ' ', false, json::error_handler_t::replace)).str();
}

std::string Unexpected(const json& value, const char* expected) {
  return fmt::format("is {}, where {} is expected", Shown(value), expected);
}

class Rules {
public:
  explicit Rules(const json& parameter) : m_Parameter(parameter), m_Type(parameter.value("type", "")) {}

  std::vector<BrokenRule> Check() {
    if (const json* const required = Find("required"); required && !required->is_boolean())
      Break("required", Unexpected(*required, "true or false"));
    for (const char* member : {"label", "group"})
      CheckCaption(member);
    m_Minimum = Bound("minimum");
    m_Maximum = Bound("maximum");
    if (m_Minimum && m_Maximum && Number(*m_Minimum) > Number(*m_Maximum)) {
      Break("minimum", fmt::format("is {}, above its maximum, {}", Shown(*m_Minimum), Shown(*m_Maximum)));
      m_Minimum = m_Maximum = nullptr;
    }
    CheckChoices();
    if (const json* const value = Find("default"); value && !value->is_null() && FitsType(*value, m_Type))
      CheckDefault(*value);
    return std::move(m_Broken);
  }

private:
  const json* Find(const char* member) const {
    const auto found = m_Parameter.find(member);
    return found != m_Parameter.end() ? &*found : nullptr;
  }

  void Break(const std::string& member, const std::string& what) {
    m_Broken.push_back({member, (member == "default" ? "the default " : member + " ") + what});
  }

  void CheckCaption(const char* member) {
    const json* const value = Find(member);
    if (!value)
      return;
    const std::string text = value->is_string() ? value->get<std::string>() : "";
    if (text.empty() || text.size() > k_MaxProductName || rlib::HoldsControls(text))
      Break(member, Unexpected(*value, "a text of 1 to 256 bytes without control characters"));
  }

  /// Null when there is none that counts.
  const json* Bound(const char* member) {
    const json* const value = Find(member);
    if (!value)
      return nullptr;
    const bool isOfNumbers = m_Type.empty() || m_Type == "integer" || m_Type == "number";
    if (value->is_number() && isOfNumbers)
      return value;
    Break(member, value->is_number() ? fmt::format("is for numbers, and its type is {}", m_Type)
                                     : Unexpected(*value, "a number"));
    return nullptr;
  }

  /// What keeps a value from the bounds; empty when nothing does.
  std::string BeyondBounds(const json& value) const {
    if (!m_Minimum && !m_Maximum)
      return "";
    if (!value.is_number())
      return "is no number, as its bounds are";
    if (m_Minimum && Number(value) < Number(*m_Minimum))
      return fmt::format("is below its minimum, {}", Shown(*m_Minimum));
    if (m_Maximum && Number(value) > Number(*m_Maximum))
      return fmt::format("is above its maximum, {}", Shown(*m_Maximum));
    return "";
  }

  void CheckChoices() {
    const json* const choices = Find("choices");
    if (!choices)
      return;
    if (!choices->is_array() || choices->empty())
      return Break("choices", Unexpected(*choices, "a list in [ ] with at least one value"));
    for (const json& choice : *choices) {
      std::string wrong = WrongChoice(choice);
      if (wrong.empty())
        continue;
      m_Choices.clear();
      return Break("choices", "hold " + wrong); // there may be very many
    }
  }

  /// Empty when nothing is.
  std::string WrongChoice(const json& choice) {
    if (!choice.is_string() && !choice.is_number() && !choice.is_boolean())
      return fmt::format("{}, where texts, numbers, true or false are expected", Shown(choice));
    if (!FitsType(choice, m_Type))
      return fmt::format("{}, which is not of its type, {}", Shown(choice), m_Type);
    if (const std::string beyond = BeyondBounds(choice); !beyond.empty())
      return fmt::format("{}, which {}", Shown(choice), beyond);
    return m_Choices.insert(Key(choice)).second ? "" : fmt::format("{} twice", Shown(choice));
  }

  void CheckDefault(const json& value) {
    if (const std::string beyond = BeyondBounds(value); !beyond.empty())
      Break("default", fmt::format("{} {}", Shown(value), beyond));
    else if (!m_Choices.empty() && !m_Choices.contains(Key(value)))
      Break("default", fmt::format("{} is none of its choices", Shown(value)));
  }

  const json& m_Parameter;
  const std::string m_Type;
  const json* m_Minimum = nullptr; // only what counts
  const json* m_Maximum = nullptr;
  std::set<std::string> m_Choices; // by Key
  std::vector<BrokenRule> m_Broken;
};

} // namespace

bool FitsType(const json& value, const std::string& type) {
  if (value.is_null() || type.empty())
    return true;
  if (type == "boolean")
    return value.is_boolean();
  if (type == "number")
    return value.is_number();
  if (type == "integer") // 5.0 counts, as in the schema's own language
    return value.is_number_integer() ||
           (value.is_number_float() && value.get<double>() == std::floor(value.get<double>()));
  return value.is_string();
}

std::vector<BrokenRule> BrokenRulesOf(const json& parameter) {
  return Rules(parameter).Check();
}

} // namespace brenic
