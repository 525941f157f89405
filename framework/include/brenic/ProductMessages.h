// Messages about products.
#pragma once

#include "brenic/Message.h"
#include "brenic/Product.h"

namespace brenic {

/// Installs a product, or replaces the one of the same type.
class ProductMsg : public MessageOf<ProductMsg> {
public:
  static constexpr const char* k_ClassName = "ProductMsg";

  shared_ptr<Product> m_Product;
};

/// Removes a product; the null type removes all customisations and goes back to the default products.
class RemoveProductMsg : public MessageOf<RemoveProductMsg> {
public:
  static constexpr const char* k_ClassName = "RemoveProductMsg";

  UID m_ProductType;
};

/// From the Master: the product list is complete and stands in JobFactory::s_JobFactory. Emitted once per
/// run.
class EndProductsMsg : public MessageOf<EndProductsMsg> {
public:
  static constexpr const char* k_ClassName = "EndProductsMsg";

  /// Names the list; sent back in Hello, it lets the Master say "the same" instead of sending it again.
  String m_Digest;
};

} // namespace brenic
