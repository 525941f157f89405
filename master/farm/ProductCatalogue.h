// The farm's products: the default ones, and what administrators changed of them.
#pragma once

#include <set>

#include "brenic/Product.h"
#include "brenic/Types.h"

namespace brenic::master {

using ProductMap = rlib::map<UID, shared_ptr<const Product>>;

/// A value. A default product with a name that an installed one has does not show while that is installed.
/// Every change costs the logarithm of the number of products, but for Reset.
class ProductCatalogue {
public:
  void AddDefault(const shared_ptr<const Product>& product);
  /// An installed product hides the default one of its type, and brings back a removed type.
  void Install(const shared_ptr<const Product>& product);
  /// Of a default product too, which stays removed until Reset or until its type is installed.
  void Remove(const UID& type);
  /// Back to the default products.
  void Reset();

  /// The products that the farm has, by type.
  const ProductMap& Effective() const { return m_Effective; }
  /// Null when the farm has no product of the type.
  shared_ptr<const Product> Find(const UID& type) const;
  bool IsCustom(const UID& type) const { return m_Custom.count(type) > 0; }
  bool IsDefault(const UID& type) const { return m_Defaults.count(type) > 0; }
  const ProductMap& Defaults() const { return m_Defaults; }
  /// The default products that do not show because an installed one has one of their names.
  const std::set<UID>& Hidden() const { return m_Hidden; }

  /// Another product of the farm that has one of this product's names (name and aliases, ASCII case ignored);
  /// null when there is none.
  shared_ptr<const Product> FindNameClash(const Product& product) const;

private:
  /// Brings what shows of a type up to date.
  void Refresh(const UID& type);
  void RefreshHidden();
  void Withdraw(const UID& type);
  /// False when the product has to give way to one that shows.
  bool MakeRoom(const Product& product);

  ProductMap m_Defaults;
  ProductMap m_Custom;
  std::set<UID> m_Removed; // defaults that do not show
  std::set<UID> m_Hidden;
  ProductMap m_Effective;
  rlib::map<String, UID, String::ciless> m_Names; // of the effective products, aliases included
};

} // namespace brenic::master
