// Whether a product can be taken into the farm.
#pragma once

#include "farm/ProductCatalogue.h"

namespace brenic::master {

/// Why the product's document cannot be taken, or does not agree with the index that came with it; empty when
/// neither is so.
String CheckDocument(const Product& product);

/// Why `product` cannot stand beside the others: another one already has one of its names. Empty when it can.
String DescribeNameClash(const ProductCatalogue& products, const Product& product);

} // namespace brenic::master
