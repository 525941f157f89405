// Whether a product can be taken into the farm.
#pragma once

#include "farm/ProductCatalogue.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Fails unless the product's document can be taken and agrees with the index that came with it.
rlib::Result<> CheckDocument(const Product& product);

/// Fails when `product` cannot stand beside the others: another one already has one of its names.
rlib::Result<> CheckNames(const ProductCatalogue& products, const Product& product);

} // namespace brenic::master
