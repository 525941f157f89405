// Product definitions as documents: checking and reading them. Used by clients and the Master.
#pragma once

#include "brenic/Product.h"
#include "rlib/Result.h"

namespace brenic {

inline constexpr size_t k_MaxProductDocument = 1024 * 1024; // bytes
inline constexpr int k_MaxProductDepth = 64;                // levels of lists and objects

/// Makes a product of a document, its index read from it; never null. Fails, with what is wrong and where in
/// the document, unless it is JSON of limited size and depth, without duplicate keys, and valid against the
/// schema. Any thread; never throws.
rlib::Result<shared_ptr<Product>> ParseProduct(std::string document);

/// The same for a document that ParseProduct has taken before: only its index is read.
rlib::Result<shared_ptr<Product>> ParseCheckedProduct(std::string document);

} // namespace brenic
