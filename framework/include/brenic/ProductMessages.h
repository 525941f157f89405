// Messages about products.
#pragma once

#include "brenic/Message.h"
#include "brenic/Product.h"

namespace brenic {

/// Installs a product, or replaces the one of the same type.
class ProductMsg : public MessageOf<ProductMsg> {
public:
  static constexpr MessageDescription k_Description{
      "ProductMsg",          TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b06"),
      "install the product", Sender::k_Both,
      RequestKind::k_Write,  false};

  shared_ptr<Product> m_Product;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("product", self.m_Product);
  }
};

/// Removes a product; the null type removes all customisations and goes back to the default products.
class RemoveProductMsg : public MessageOf<RemoveProductMsg> {
public:
  static constexpr MessageDescription k_Description{
      "RemoveProductMsg",   TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b07"),
      "remove the product", Sender::k_Both,
      RequestKind::k_Write, false};

  UID m_ProductType;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("productType", self.m_ProductType);
  }
};

/// From the Master: the product list is complete and stands in JobFactory::s_JobFactory. Emitted once per
/// run.
class EndProductsMsg : public MessageOf<EndProductsMsg> {
public:
  static constexpr MessageDescription k_Description{
      "EndProductsMsg",    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b08"),
      "EndProductsMsg",    Sender::k_Master,
      RequestKind::k_None, false};

  /// Names the list; sent back in Hello, it lets the Master say "the same" instead of sending it again.
  String m_Digest;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Digest", self.m_Digest);
  }
};

} // namespace brenic
