// Decides who gets a certificate, and whose ends: what the requests about certificates do to the store.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// Carries the request out in the store, within the caller's transaction, or refuses it with nothing written.
/// `now` is in milliseconds since 1970-01-01 UTC. Throws StoreFailure.
rlib::Result<Managed> Register(const Path& folder, Store& store, const Message& message,
                               const Moment& moment);

/// Whether a RenewMasterMsg would change something.
bool IsRenewalDue(Store& store, int64_t now);

/// Until when clients hold valid certificates of the authority; none when none does.
std::optional<int64_t> LastEnd(const std::vector<ClientRecord>& clients, const Authority& authority,
                               int64_t now);

} // namespace brenic::master
