// Product definitions as documents: checking and reading them. Used by clients and the Master.
#pragma once

#include <string>
#include <vector>

#include "brenic/Product.h"
#include "products/ParameterRules.h"
#include "rlib/Result.h"

namespace brenic {

inline constexpr size_t k_MaxProductDocument = 1024 * 1024; // bytes, layout not counted
inline constexpr int k_MaxProductDepth = 64;                // levels of lists and objects
inline constexpr size_t k_MaxProductName = 256;             // bytes
/// No document is longer when SSaveProduct has laid it out: a byte brings at most a line end with two spaces
/// for each level, or the space behind a colon; one line end stands behind all.
inline constexpr size_t k_MaxProductFile = k_MaxProductDocument * (2 + 2 * k_MaxProductDepth) + 1;

/// Makes a product of a document, its index read from it; never null. Fails, with what is wrong and where in
/// the document, unless it is JSON of limited size and depth, without duplicate keys, and valid against the
/// schema. A document of more than k_MaxProductDocument bytes is kept without its layout. Any thread; never
/// throws.
rlib::Result<shared_ptr<Product>> ParseProduct(const std::string& document);

/// What a product's document says of a parameter.
struct ProductParameter {
  String m_Name;
  std::string m_Type;         // empty: any
  std::string m_Default;      // as JSON; empty: none
  bool m_DefaultFits = false; // its type, that is; null fits every type, as does having none
  std::vector<BrokenRule> m_Broken;
};

/// Of a document that ParseProduct takes.
std::vector<ProductParameter> ParametersOf(const Product& product);

/// A product of a document that ParseProduct has taken before: only its index is read.
rlib::Result<shared_ptr<Product>> ParseCheckedProduct(std::string document);

} // namespace brenic
