#include "farm/ProductCatalogue.h"

namespace brenic::master {

namespace {

rlib::vector<String> AllNames(const Product& product) {
  rlib::vector<String> names{product.Name()};
  names.insert(names.end(), product.Aliases().begin(), product.Aliases().end());
  return names;
}

} // namespace

bool operator==(const Customisation& a, const Customisation& b) {
  if (a.m_Installed == b.m_Installed)
    return true;
  return a.m_Installed && b.m_Installed && a.m_Installed->Document() == b.m_Installed->Document();
}

void ProductCatalogue::AddDefault(const shared_ptr<const Product>& product) {
  m_Defaults[product->Type()] = product;
  Refresh(product->Type());
}

void ProductCatalogue::Customise(const States& states, const ProductMap& defaults) {
  // Names are given up before any is taken, so that the order of the types does not matter.
  for (const auto& entry : states)
    Withdraw(entry.first);
  for (const auto& [type, product] : defaults) {
    Withdraw(type);
    if (product)
      m_Defaults[type] = product;
    else
      m_Defaults.erase(type);
  }
  for (const auto& [type, customisation] : states) {
    if (customisation)
      m_Customised[type] = *customisation;
    else
      m_Customised.erase(type);
  }
  for (const auto& entry : states)
    Refresh(entry.first);
  for (const auto& entry : defaults)
    Refresh(entry.first);
  RefreshHidden();
}

std::optional<Customisation> ProductCatalogue::CustomisationOf(const UID& type) const {
  const auto found = m_Customised.find(type);
  return found != m_Customised.end() ? std::optional(found->second) : std::nullopt;
}

bool ProductCatalogue::IsCustom(const UID& type) const {
  const auto found = m_Customised.find(type);
  return found != m_Customised.end() && found->second.m_Installed;
}

shared_ptr<const Product> ProductCatalogue::Find(const UID& type) const {
  const auto found = m_Effective.find(type);
  return found != m_Effective.end() ? found->second : nullptr;
}

shared_ptr<const Product> ProductCatalogue::Known(const UID& type) const {
  const auto product = Find(type);
  const auto byDefault = m_Defaults.find(type);
  return product || byDefault == m_Defaults.end() ? product : byDefault->second;
}

std::optional<NameClash> ProductCatalogue::FindNameClash(const Product& product) const {
  for (const String& name : AllNames(product)) {
    if (const auto other = m_Names.find(name); other != m_Names.end() && other->second != product.Type())
      return NameClash{name, Find(other->second)};
  }
  return std::nullopt;
}

void ProductCatalogue::Withdraw(const UID& type) {
  const auto earlier = Find(type);
  if (!earlier)
    return;
  for (const String& name : AllNames(*earlier)) {
    if (const auto held = m_Names.find(name); held != m_Names.end() && held->second == type)
      m_Names.erase(held);
  }
  m_Effective.erase(type);
}

bool ProductCatalogue::MakeRoom(const Product& product) {
  for (const String& name : AllNames(product)) {
    const auto held = m_Names.find(name);
    if (held == m_Names.end() || held->second == product.Type())
      continue;
    if (!IsCustom(product.Type()))
      return false;
    if (const UID other = held->second; !IsCustom(other)) {
      Withdraw(other);
      m_Hidden.insert(other);
    }
  }
  return true;
}

void ProductCatalogue::Refresh(const UID& type) {
  Withdraw(type);
  m_Hidden.erase(type);
  shared_ptr<const Product> current;
  if (const auto custom = m_Customised.find(type); custom != m_Customised.end())
    current = custom->second.m_Installed;
  else if (const auto byDefault = m_Defaults.find(type); byDefault != m_Defaults.end())
    current = byDefault->second;
  if (!current)
    return;
  if (!MakeRoom(*current)) {
    m_Hidden.insert(type);
    return;
  }
  m_Effective[type] = current;
  for (const String& name : AllNames(*current))
    m_Names.emplace(name, type);
}

void ProductCatalogue::RefreshHidden() {
  const auto hidden = m_Hidden;
  for (const UID& type : hidden)
    Refresh(type);
}

} // namespace brenic::master
