// Product definitions that reach the Master: from files and from clients.
#pragma once

#include "ProductCatalogue.h"

namespace brenic::master {

/// Why the product's document cannot be taken, or does not agree with the index that came with it; empty when
/// neither is so.
String CheckDocument(const Product& product);

/// Why `product` cannot stand beside the others: another one already has one of its names. Empty when it can.
String DescribeNameClash(const ProductCatalogue& products, const Product& product);

/// The default products: every *.json file of the folder. Files that cannot be taken, and such as have the
/// identifier or a name of an earlier one, are left out with a warning in the log. What stands among the
/// `earlier` products is not checked again. Throws Exception* when the folder cannot be read.
ProductMap LoadDefaultProducts(const Path& folder, const ProductMap& earlier = {});

} // namespace brenic::master
