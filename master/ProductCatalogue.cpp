#include "ProductCatalogue.h"

namespace brenic::master {

namespace {

rlib::vector<String> AllNames(const Product& product) {
  rlib::vector<String> names = product.Aliases();
  names.push_back(product.Name());
  return names;
}

} // namespace

void ProductCatalogue::AddDefault(const shared_ptr<const Product>& product) {
  m_Defaults[product->Type()] = product;
  Refresh(product->Type());
}

void ProductCatalogue::Install(const shared_ptr<const Product>& product) {
  m_Custom[product->Type()] = product;
  m_Removed.erase(product->Type());
  Refresh(product->Type());
}

void ProductCatalogue::Remove(const UID& type) {
  m_Custom.erase(type);
  if (IsDefault(type))
    m_Removed.insert(type);
  Refresh(type);
}

void ProductCatalogue::Reset() {
  ProductCatalogue defaults;
  for (const auto& entry : m_Defaults)
    defaults.AddDefault(entry.second);
  *this = std::move(defaults);
}

shared_ptr<const Product> ProductCatalogue::Find(const UID& type) const {
  const auto found = m_Effective.find(type);
  return found != m_Effective.end() ? found->second : nullptr;
}

shared_ptr<const Product> ProductCatalogue::FindNameClash(const Product& product) const {
  for (const String& name : AllNames(product)) {
    if (const auto other = m_Names.find(name); other != m_Names.end() && other->second != product.Type())
      return Find(other->second);
  }
  return nullptr;
}

void ProductCatalogue::Refresh(const UID& type) {
  if (const auto earlier = Find(type)) {
    for (const String& name : AllNames(*earlier)) {
      if (const auto held = m_Names.find(name); held != m_Names.end() && held->second == type)
        m_Names.erase(held);
    }
    m_Effective.erase(type);
  }
  shared_ptr<const Product> current;
  if (const auto custom = m_Custom.find(type); custom != m_Custom.end())
    current = custom->second;
  else if (const auto byDefault = m_Defaults.find(type);
           byDefault != m_Defaults.end() && !m_Removed.count(type))
    current = byDefault->second;
  if (!current)
    return;
  m_Effective[type] = current;
  for (const String& name : AllNames(*current))
    m_Names.emplace(name, type);
}

} // namespace brenic::master
