// Product definitions as documents: reading, checking, laying out. Used by clients and the Master.
#pragma once

#include "brenic/Product.h"

namespace brenic {

inline constexpr size_t k_MaxProductDocument = 1024 * 1024; // bytes
inline constexpr int k_MaxProductDepth = 64;                // levels of lists and objects

/// Makes a product of a document, its index read from it. Null, with `problem` telling what is wrong and
/// where in the document, unless it is JSON of limited size and depth, without duplicate keys, and valid
/// against the schema. Any thread; never throws.
shared_ptr<Product> ParseProduct(std::string document, String& problem);

/// The same for a document that ParseProduct has taken before: only its index is read.
shared_ptr<Product> ParseCheckedProduct(std::string document, String& problem);

/// Reads at most one byte more than a document may have. Returns why the file cannot be read, empty when it
/// can; never waits: what is no regular file is not read.
String ReadProductFile(const Path& file, std::string& document);

/// The document laid out with two spaces a level, or without any layout; members keep their order and numbers
/// their digits. Throws Exception* when it is no JSON.
std::string LayOut(const std::string& document, bool compact);

} // namespace brenic
