#include "net/TlsContext.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

namespace brenic {

namespace ssl = boost::asio::ssl;

String TlsError() {
  const unsigned long error = ERR_peek_last_error();
  ERR_clear_error();
  const char* reason = error ? ERR_reason_error_string(error) : nullptr;
  return reason ? reason : "unknown TLS error";
}

ssl::context MakeTlsContext(ssl::context::method method) {
  ssl::context context(method);
  SSL_CTX* native = context.native_handle();
  SSL_CTX_set_min_proto_version(native, TLS1_3_VERSION);
  SSL_CTX_set_max_proto_version(native, TLS1_3_VERSION);
  // A revoked client must not come back through a resumed session.
  SSL_CTX_set_options(native, SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(native, 0);
  SSL_CTX_set_session_cache_mode(native, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_max_early_data(native, 0);
  // A finite-field group would cost a Master 160 ms for each hello of a stranger.
  SSL_CTX_set1_groups_list(native, "X25519:P-256:P-384");
  SSL_CTX_set_mode(native, SSL_MODE_NO_AUTO_CHAIN); // the other side has the authority's certificate
  context.set_verify_mode(ssl::verify_peer | ssl::verify_fail_if_no_peer_cert);
  return context;
}

} // namespace brenic
