// Why TLS brought no connection, in words that tell a user what to do.
#pragma once

#include <openssl/x509.h>

#include "client/Connector.h"

namespace brenic {

/// Why the Master's certificate was not accepted: what OpenSSL's verification has just found, called from
/// within it. `host` is what the certificate had to be for, `own` the client's certificate. One line,
/// whatever the certificate holds.
String WhyNotTrusted(X509_STORE_CTX* verification, const String& host, const X509* own);

/// What an error says in the handshake.
ConnectFailure ExplainHandshake(const error_code& error, const X509* own);

/// What an error says behind the handshake and before the Master has let the client in. `own` is the client's
/// certificate: with TLS 1.3 the Master judges it only then.
ConnectFailure ExplainRefusal(const error_code& error, const X509* own);

} // namespace brenic
