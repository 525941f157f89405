// The default products, in a folder that the package installs.
#pragma once

#include "rlib/Result.h"
#include "store/Store.h"

namespace brenic::master {

/// The files that hold the default products: every *.json file of the folder, by name. Fails when the folder
/// cannot be read.
rlib::Result<std::vector<Path>> DefaultProductFiles(const Path& folder);

/// The default products. Files that cannot be taken, and such as have the identifier or a name of an earlier
/// one, are left out with a warning in the log. What stands among the `earlier` products is not checked
/// again.
ProductMap LoadDefaultProducts(const std::vector<Path>& files, const ProductMap& earlier = {});

/// Makes the products of the files the default ones of farm and store, and records that in the trail as the
/// Master's own doing, in a transaction of its own. False when they are those already: then nothing is
/// written. The first ones of a new farm are no change, and leave no record. Throws StoreFailure; farm and
/// store are then as they were. `now` is in milliseconds since 1970-01-01 UTC.
bool TakeDefaultProducts(const std::vector<Path>& files, Store& store, Farm& farm, const std::string& run,
                         int64_t now);

} // namespace brenic::master
