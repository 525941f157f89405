#include "farm/ProductCheck.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "farm/TextCheck.h"
#include "products/ProductDocument.h"
#include "rlib/Escape.h"
#include "rlib/Utf8.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

/// What is wrong with a name, to go on from it; empty when nothing is.
std::string TrapIn(const String& name) {
  if (UID().FromString(name))
    return "is an identifier";
  if (name.str().starts_with('-'))
    return "begins with -, as a switch does";
  for (const char* section : {o_Distribution, o_Limit, o_Restrictions}) {
    if (name.CompareNoCase(section) == 0)
      return "is that of a section of option files";
  }
  if (const auto visible = CheckVisible(name); !visible)
    return visible.Reason().str();
  char32_t last = ' ';
  bool isBlank = true;
  bool hasOuterSpace = false;
  for (std::string_view rest = name; !rest.empty();) {
    const auto character = rlib::FirstCharacter(rest).value_or(rlib::Utf8Character{0, 1});
    last = character.m_Code;
    hasOuterSpace |= rest.size() == name.size() && rlib::IsSpace(last);
    isBlank &= rlib::IsSpace(last);
    rest.remove_prefix(character.m_Bytes);
  }
  if (isBlank)
    return "is blank";
  return hasOuterSpace || rlib::IsSpace(last) ? "begins or ends with a space" : "";
}

bool HasName(const Product& product, const String& name) {
  const auto& aliases = product.Aliases();
  return product.Name() == name || std::find(aliases.begin(), aliases.end(), name) != aliases.end();
}

void FindTrapNames(const Product& product, const Product* held, std::vector<ProductTrap>& traps) {
  const auto look = [&](const char* what, const String& name, JsonPath path) {
    const std::string trap = TrapIn(name);
    if (!trap.empty() && !(held && HasName(*held, name)))
      traps.push_back({std::move(path), fmt::format("The {} '{}' {}; choose another one", what,
                                                    rlib::Excerpt(name).str(), trap)});
  };
  look("name", product.Name(), {"name"});
  for (size_t i = 0; i != product.Aliases().size(); ++i)
    look("alias", product.Aliases()[i], {"aliases", std::to_string(i)});
}

/// What the product that the farm has already holds of parameters.
class HeldParameters {
public:
  explicit HeldParameters(const std::vector<ProductParameter>& parameters) {
    for (const ProductParameter& each : parameters) {
      ++m_Names[each.m_Name];
      m_Defaults.emplace(each.m_Name, each.m_Type, each.m_Default);
      for (const BrokenRule& rule : each.m_Broken)
        m_Broken.emplace(each.m_Name, rule.m_Member, rule.m_What);
    }
  }

  /// Each of two parameters that one cannot tell apart.
  bool HasBoth(const String& one, const String& other) const {
    return one == other ? Count(one) > 1 : Count(one) > 0 && Count(other) > 0;
  }
  bool HasDefault(const ProductParameter& parameter) const {
    return m_Defaults.contains({parameter.m_Name, parameter.m_Type, parameter.m_Default});
  }
  /// The same rule broken in the same way.
  bool HasBroken(const String& name, const BrokenRule& rule) const {
    return m_Broken.contains({name, rule.m_Member, rule.m_What});
  }

private:
  size_t Count(const String& name) const {
    const auto found = m_Names.find(name);
    return found != m_Names.end() ? found->second : 0;
  }

  std::map<String, size_t> m_Names;
  std::set<std::tuple<String, String, String>> m_Defaults;
  std::set<std::tuple<String, String, String>> m_Broken;
};

void FindTrapParameters(const std::vector<ProductParameter>& parameters, const HeldParameters& held,
                        std::vector<ProductTrap>& traps) {
  std::set<String, String::ciless> seen;
  for (size_t i = 0; i != parameters.size(); ++i) {
    const ProductParameter& parameter = parameters[i];
    const std::string name = rlib::Excerpt(parameter.m_Name).str();
    const auto add = [&](const std::string& member, std::string what) {
      traps.push_back({{"parameters", std::to_string(i), member}, std::move(what)});
    };
    const auto [other, isNew] = seen.insert(parameter.m_Name);
    if (!isNew && !held.HasBoth(*other, parameter.m_Name))
      add("name", fmt::format("The parameters '{}' and '{}' differ at most in case; rename one of them",
                              rlib::Excerpt(*other).str(), name));
    if (!parameter.m_DefaultFits && !held.HasDefault(parameter))
      add("default", fmt::format("The default {} of the parameter '{}' is not of its type, {}",
                                 rlib::Excerpt(parameter.m_Default).str(), name, parameter.m_Type));
    for (const BrokenRule& rule : parameter.m_Broken) {
      if (!held.HasBroken(parameter.m_Name, rule))
        add(rule.m_Member, fmt::format("The parameter '{}' makes no sense: {}", name, rule.m_What));
    }
  }
}

} // namespace

rlib::Result<shared_ptr<const Product>> CheckDocument(const Product& product) {
  const auto result = ParseProduct(product.Document());
  if (!result)
    return result.Why();
  const shared_ptr<const Product> parsed = *result;
  if (parsed->Type() != product.Type())
    return rlib::Failure("The identifier sent with the product is not that of its definition");
  if (parsed->Name() != product.Name())
    return rlib::Failure("The name sent with the product is not that of its definition");
  if (parsed->Aliases() != product.Aliases())
    return rlib::Failure("The aliases sent with the product are not those of its definition");
  return parsed;
}

std::vector<ProductTrap> FindTraps(const Product& product, const Product* held) {
  std::vector<ProductTrap> traps;
  FindTrapNames(product, held, traps);
  FindTrapParameters(ParametersOf(product),
                     HeldParameters(held ? ParametersOf(*held) : std::vector<ProductParameter>()), traps);
  return traps;
}

rlib::Result<> CheckTraps(const Product& product, const Product* held) {
  const auto traps = FindTraps(product, held);
  if (!traps.empty())
    return rlib::Failure(traps.front().m_What);
  return {};
}

rlib::Result<> CheckNames(const ProductCatalogue& products, const Product& product) {
  const auto clash = products.FindNameClash(product);
  if (!clash)
    return {};
  return rlib::Failure(fmt::format(
      "The name '{}' already belongs to the product '{}' ({})", rlib::Excerpt(clash->m_Name).str(),
      rlib::Excerpt(clash->m_Product->Name()).str(), clash->m_Product->Type().ToString().str()));
}

} // namespace brenic::master
