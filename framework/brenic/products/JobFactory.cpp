#include "brenic/JobFactory.h"

#include <algorithm>

namespace brenic {

JobFactory JobFactory::s_JobFactory;

namespace {

std::string Lower(const String& text) {
  std::string lower = text.str();
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

} // namespace

void JobFactory::Replace(const ProductList& products) {
  m_Products.clear();
  m_Index.reset();
  for (const auto& product : products)
    m_Products.insert_or_assign(product->Type(), product);
}

JobFactory::ProductList JobFactory::Products() const {
  ProductList products;
  for (const auto& entry : m_Products)
    products.push_back(entry.second);
  return products;
}

void JobFactory::Install(const shared_ptr<Product>& product) {
  m_Products.insert_or_assign(product->Type(), product);
  m_Index.reset();
}

void JobFactory::Remove(const UID& type) {
  m_Products.erase(type);
  m_Index.reset();
}

const JobFactory::Index& JobFactory::Indexed() const {
  if (!m_Index) {
    m_Index.emplace();
    for (const auto& [type, product] : m_Products) {
      m_Index->m_Names.emplace(Lower(product->Name()), type);
      for (const String& alias : product->Aliases())
        m_Index->m_Aliases.emplace(Lower(alias), type);
    }
  }
  return *m_Index;
}

bool JobFactory::FindType(const String& text, UID& type) const {
  if (UID id; id.FromString(text) && (id.IsNull() || m_Products.contains(id))) {
    type = id;
    return true;
  }
  const std::string wanted = Lower(text);
  for (const Names* names : {&Indexed().m_Names, &Indexed().m_Aliases}) {
    if (const auto found = names->find(wanted); found != names->end()) {
      type = found->second;
      return true;
    }
  }
  return false;
}

shared_ptr<Product> JobFactory::GetProduct(const UID& type) const {
  const auto found = m_Products.find(type);
  return found != m_Products.end() ? found->second : nullptr;
}

} // namespace brenic
