#include "farm/ProductCheck.h"

#include <algorithm>
#include <set>

#include <fmt/core.h>

#include "brenic/Options.h"
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
  char32_t last = ' ';
  bool isBlank = true;
  bool hasOuterSpace = false;
  for (std::string_view rest = name; !rest.empty();) {
    const auto character = rlib::FirstCharacter(rest).value_or(rlib::Utf8Character{0, 1});
    last = character.m_Code;
    if (rlib::IsInvisible(last))
      return fmt::format("holds the invisible character U+{:04X}", static_cast<unsigned>(last));
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

Result<> CheckTrapNames(const Product& product, const Product* held) {
  const auto check = [&](const char* what, const String& name) -> Result<> {
    const std::string trap = TrapIn(name);
    if (trap.empty() || (held && HasName(*held, name)))
      return {};
    return Failure(fmt::format("The {} '{}' {}; choose another one", what, rlib::Excerpt(name).str(), trap));
  };
  if (auto checked = check("name", product.Name()); !checked)
    return checked;
  for (const String& alias : product.Aliases()) {
    if (auto checked = check("alias", alias); !checked)
      return checked;
  }
  return {};
}

/// Whether each of two parameters that one cannot tell apart is in the list.
bool HoldsBoth(const std::vector<ProductParameter>& list, const String& one, const String& other) {
  const auto count = [&](const String& name) {
    return std::count_if(list.begin(), list.end(), [&](const auto& each) { return each.m_Name == name; });
  };
  return one == other ? count(one) > 1 : count(one) > 0 && count(other) > 0;
}

Result<> CheckTrapParameters(const std::vector<ProductParameter>& parameters,
                             const std::vector<ProductParameter>& held) {
  std::set<String, String::ciless> seen;
  for (const ProductParameter& parameter : parameters) {
    const auto [other, isNew] = seen.insert(parameter.m_Name);
    if (!isNew && !HoldsBoth(held, *other, parameter.m_Name))
      return Failure(fmt::format("The parameters '{}' and '{}' differ at most in case; rename one of them",
                                 rlib::Excerpt(*other).str(), rlib::Excerpt(parameter.m_Name).str()));
    if (!parameter.m_DefaultFits && std::find(held.begin(), held.end(), parameter) == held.end())
      return Failure(fmt::format("The default {} of the parameter '{}' is not of its type, {}",
                                 rlib::Excerpt(parameter.m_Default).str(),
                                 rlib::Excerpt(parameter.m_Name).str(), parameter.m_Type));
  }
  return {};
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

rlib::Result<> CheckTraps(const Product& product, const Product* held) {
  if (auto checked = CheckTrapNames(product, held); !checked)
    return checked;
  return CheckTrapParameters(ParametersOf(product),
                             held ? ParametersOf(*held) : std::vector<ProductParameter>());
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
