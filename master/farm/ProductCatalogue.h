// The farm's products: the default ones, and what administrators made of them.
#pragma once

#include <optional>
#include <set>

#include "brenic/Product.h"
#include "brenic/Types.h"

namespace brenic::master {

using ProductMap = rlib::map<UID, shared_ptr<const Product>>;

/// What administrators made of a product type.
struct Customisation {
  shared_ptr<const Product> m_Installed; // null: the type was removed

  /// Compares the documents.
  friend bool operator==(const Customisation& a, const Customisation& b);
};

struct NameClash {
  String m_Name;
  shared_ptr<const Product> m_Product; // never null
};

/// A value. A default product with a name that an installed one has does not show while that is installed.
/// Every change costs the logarithm of the number of products for each type that it concerns.
class ProductCatalogue {
public:
  /// Product types with what is to become of them; a type without customisation is as by default.
  using States = rlib::map<UID, std::optional<Customisation>>;

  void AddDefault(const shared_ptr<const Product>& product);
  /// An installed product hides the default one of its type. A removed type does not show. `defaults` are the
  /// default products of their types from now on; null: there is none any more.
  void Customise(const States& states, const ProductMap& defaults = {});

  /// The customised types, as they are.
  const rlib::map<UID, Customisation>& Customised() const { return m_Customised; }
  std::optional<Customisation> CustomisationOf(const UID& type) const;

  /// The products that the farm has, by type.
  const ProductMap& Effective() const { return m_Effective; }
  /// Null when the farm has no product of the type.
  shared_ptr<const Product> Find(const UID& type) const;
  /// The product of the type, or the default one of it that does not show; null when there is neither.
  shared_ptr<const Product> Known(const UID& type) const;
  bool IsCustom(const UID& type) const;
  bool IsDefault(const UID& type) const { return m_Defaults.count(type) > 0; }
  const ProductMap& Defaults() const { return m_Defaults; }
  /// The default products that do not show because an installed one has one of their names.
  const std::set<UID>& Hidden() const { return m_Hidden; }

  /// One of this product's names (name and aliases, ASCII case ignored) that another product of the farm has,
  /// and that product.
  std::optional<NameClash> FindNameClash(const Product& product) const;

private:
  /// Brings what shows of a type up to date.
  void Refresh(const UID& type);
  void RefreshHidden();
  void Withdraw(const UID& type);
  /// False when the product has to give way to one that shows.
  bool MakeRoom(const Product& product);

  ProductMap m_Defaults;
  rlib::map<UID, Customisation> m_Customised;
  std::set<UID> m_Hidden;
  ProductMap m_Effective;
  rlib::map<String, UID, String::ciless> m_Names; // of the effective products, aliases included
};

} // namespace brenic::master
