// The default products, in a folder that the package installs.
#pragma once

#include "farm/ProductCatalogue.h"
#include "rlib/Result.h"

namespace brenic::master {

/// The files that hold the default products: every *.json file of the folder, by name. Fails when the folder
/// cannot be read.
rlib::Result<std::vector<Path>> DefaultProductFiles(const Path& folder);

/// The default products. Files that cannot be taken, and such as have the identifier or a name of an earlier
/// one, are left out with a warning in the log. What stands among the `earlier` products is not checked
/// again.
ProductMap LoadDefaultProducts(const std::vector<Path>& files, const ProductMap& earlier = {});

} // namespace brenic::master
