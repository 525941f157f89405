// Whether a product can be taken into the farm.
#pragma once

#include <vector>

#include "farm/ProductCatalogue.h"
#include "products/JsonText.h"
#include "rlib/Result.h"

namespace brenic::master {

/// The product as it is kept, read anew from its document. Fails unless that can be taken and agrees with the
/// index that came with it.
rlib::Result<shared_ptr<const Product>> CheckDocument(const Product& product);

/// Something in a product's definition that is a trap for those who use it.
struct ProductTrap {
  JsonPath m_Path; // of the value that is one
  String m_What;   // a sentence, without its full stop
};

/// What makes the product a trap for those who use it: a name that a command line takes for something else or
/// that one cannot see, parameters that one cannot tell apart, a default that its type does not allow, rules
/// of a parameter that make no sense or that its default breaks. What the product `held` of the same type has
/// as well, if there is one, is none.
std::vector<ProductTrap> FindTraps(const Product& product, const Product* held);

/// Fails with the first of them.
rlib::Result<> CheckTraps(const Product& product, const Product* held);

/// Fails when `product` cannot stand beside the others: another one already has one of its names.
rlib::Result<> CheckNames(const ProductCatalogue& products, const Product& product);

} // namespace brenic::master
