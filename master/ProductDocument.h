// Product definitions as documents: reading and checking.
#pragma once

#include "Settings.h"

namespace brenic::master {

/// Why the document cannot be taken or does not agree with the product's index, empty when it can: a JSON
/// object of limited size and depth, without duplicate keys, with the identifier, name and aliases of the
/// index.
String CheckDocument(const Product& product);

/// Why `product` cannot stand beside the others: another type already has one of its names (name and
/// aliases, ASCII case ignored). Empty when it can.
String FindNameClash(const ProductMap& products, const Product& product);

/// Makes a product of a document, its index read from it. Null, with `problem` set, when it cannot be taken.
shared_ptr<const Product> ParseDocument(const std::string& document, String& problem);

/// The default products: every *.json file of the folder. Files that cannot be taken are left out with a
/// warning in the log.
ProductMap LoadDefaultProducts(const Path& folder);

} // namespace brenic::master
