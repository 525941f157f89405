// The default products, in a folder that the package installs.
#pragma once

#include "farm/ProductCatalogue.h"

namespace brenic::master {

/// The default products: every *.json file of the folder. Files that cannot be taken, and such as have the
/// identifier or a name of an earlier one, are left out with a warning in the log. What stands among the
/// `earlier` products is not checked again. Throws Exception* when the folder cannot be read.
ProductMap LoadDefaultProducts(const Path& folder, const ProductMap& earlier = {});

} // namespace brenic::master
