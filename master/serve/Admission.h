// Whose certificate is accepted.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// Why a certificate is not accepted at that time, for whoever shows it; none when it is. `client` is what is
/// known of the serial number, if anything.
std::optional<String> WhyRefused(const std::string& serial, const std::optional<ClientRecord>& client,
                                 int64_t now);

} // namespace brenic::master
