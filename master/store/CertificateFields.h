// What the store keeps of a certificate.
#pragma once

#include <string>

#include <openssl/types.h>

namespace brenic::master {

/// The serial number in lower-case hexadecimal, as ClientRecord has it. Throws Exception*.
std::string SerialOf(const X509* certificate);

/// Milliseconds since 1970-01-01 UTC. Throws Exception*.
int64_t TimeOf(const ASN1_TIME* time);

} // namespace brenic::master
