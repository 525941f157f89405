// The keys of the authorities, and how they move from one machine to another.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// Certificates and keys of those whose keys are here, PEM; empty when none is.
std::string ExportAuthority(const MasterRecord& master);

/// Puts the keys in place that fit an authority of this farm; empty `keys` take away those that are here.
/// Within the caller's transaction; nothing is written when it is refused.
rlib::Result<Managed> MoveAuthority(Store& store, const std::string& keys);

} // namespace brenic::master
