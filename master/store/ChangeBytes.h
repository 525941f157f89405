// A change to and from its form in the audit trail (change.proto).
#pragma once

#include <functional>
#include <string>

#include "farm/Change.h"

namespace brenic::master {

/// Products are named by the SHA-256 of their documents.
std::string EncodeChange(const Change& change);

/// `findDocument` gives the product whose document has the digest. Throws StoreFailure for bytes that are not
/// a change.
Change DecodeChange(const std::string& bytes,
                    const std::function<shared_ptr<const Product>(const std::string& digest)>& findDocument);

/// Whether it may concern path translations or user limits, by a look that is much cheaper than to decode it.
bool MayHoldLists(const std::string& bytes);

} // namespace brenic::master
