// Product definitions in files.
#pragma once

#include "brenic/Product.h"

namespace brenic {

/// Reads at most one byte more than a document may have. Returns why the file cannot be read, empty when it
/// can; never waits: what is no regular file is not read.
String ReadProductFile(const Path& file, std::string& document);

} // namespace brenic
