// The product registry.
#pragma once

#include "brenic/Product.h"

namespace brenic {

/// Holds the Master's product list. Changes on the application's main thread only, and always as a whole.
class JobFactory {
public:
  using ProductList = rlib::vector<shared_ptr<Product>>;

  static JobFactory s_JobFactory;

  const ProductList& Products() const { return m_Products; }
  void Replace(ProductList products) { m_Products = std::move(products); }

private:
  ProductList m_Products;
};

} // namespace brenic
