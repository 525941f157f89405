#include "client/Credentials.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "net/TlsContext.h"

namespace brenic {

namespace ssl = boost::asio::ssl;

namespace {

/// Why the file cannot be used; empty when it can be read.
String Unreadable(const char* what, const Path& file) {
  if (file.empty())
    return fmt::format("brenic.conf names no {}", what);
  struct stat info {};
  if (stat(file.c_str(), &info) != 0 || access(file.c_str(), R_OK) != 0)
    return fmt::format("Cannot read the {} '{}': {}", what, file.str().str(), rlib::ErrorText(errno).str());
  if (!S_ISREG(info.st_mode))
    return fmt::format("Cannot read the {} '{}': it is no regular file", what, file.str().str());
  return k_Empty;
}

String Invalid(const char* what, const Path& file) {
  return fmt::format("The {} '{}' cannot be used: {}", what, file.str().str(), TlsError().str());
}

String OpenToOthers(const Path& key) {
  struct stat info {};
  if (stat(key.c_str(), &info) == 0 && (info.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    return fmt::format("The private key '{0}' can be read by others; run: chmod 600 '{0}'", key.str().str());
  return k_Empty;
}

String Load(SSL_CTX* context, const Credentials& credentials) {
  ERR_clear_error();
  String problem = Unreadable("certificate authority", credentials.m_Authority);
  if (problem.empty())
    problem = Unreadable("certificate", credentials.m_Certificate);
  if (problem.empty())
    problem = Unreadable("private key", credentials.m_Key);
  if (problem.empty())
    problem = OpenToOthers(credentials.m_Key);
  if (!problem.empty())
    return problem;
  // Nobody is there to type a passphrase.
  SSL_CTX_set_default_passwd_cb(context, [](char*, int, int, void*) { return 0; });
  if (SSL_CTX_load_verify_file(context, credentials.m_Authority.c_str()) != 1)
    return Invalid("certificate authority", credentials.m_Authority);
  if (SSL_CTX_use_certificate_chain_file(context, credentials.m_Certificate.c_str()) != 1)
    return Invalid("certificate", credentials.m_Certificate);
  const bool usable = SSL_CTX_use_PrivateKey_file(context, credentials.m_Key.c_str(), SSL_FILETYPE_PEM) == 1;
  const bool mismatch = ERR_GET_REASON(ERR_peek_last_error()) == X509_R_KEY_VALUES_MISMATCH;
  if (!usable && !mismatch)
    return Invalid("private key", credentials.m_Key);
  if (!usable || SSL_CTX_check_private_key(context) != 1)
    return fmt::format("The private key '{}' does not belong to the certificate '{}'",
                       credentials.m_Key.str().str(), credentials.m_Certificate.str().str());
  return k_Empty;
}

} // namespace

ssl::context MakeClientContext(const Credentials& credentials, String& problem) {
  ssl::context context = MakeTlsContext(ssl::context::tls_client);
  problem = Load(context.native_handle(), credentials);
  return context;
}

} // namespace brenic
