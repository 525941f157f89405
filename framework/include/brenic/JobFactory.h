// The product registry.
#pragma once

#include <optional>
#include <unordered_map>

#include "brenic/Product.h"

namespace brenic {

/// Holds the Master's product list. Changes on the application's main thread only; used there only.
class JobFactory {
public:
  using ProductList = rlib::vector<shared_ptr<Product>>;

  static JobFactory s_JobFactory;

  /// Resolves what a user gave for a product: an identifier first, then a name, then an alias, ASCII case
  /// ignored. The null identifier resolves although no product has it. False, and `type` left alone, when
  /// nothing matches.
  bool FindType(const String& text, UID& type) const;
  /// Null when there is none of the type.
  shared_ptr<Product> GetProduct(const UID& type) const;
  /// By type.
  ProductList Products() const;

  void Replace(const ProductList& products);
  /// Adds the product, or puts it in the place of the one of its type.
  void Install(const shared_ptr<Product>& product);
  void Remove(const UID& type);

private:
  /// Lower-case text to type.
  using Names = std::unordered_map<std::string, UID>;
  struct Index {
    Names m_Names;
    Names m_Aliases;
  };
  const Index& Indexed() const;

  rlib::map<UID, shared_ptr<Product>> m_Products;
  mutable std::optional<Index> m_Index; // made when first needed
};

} // namespace brenic
