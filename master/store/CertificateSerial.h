// How a client's certificate is named in the store.
#pragma once

#include <string>

#include <openssl/types.h>

namespace brenic::master {

/// The serial number in lower-case hexadecimal, as ClientRecord has it. Throws Exception*.
std::string SerialOf(const X509* certificate);

} // namespace brenic::master
