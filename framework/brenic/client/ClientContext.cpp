#include "client/ClientContext.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "client/AuthorityFile.h"
#include "net/TlsContext.h"

namespace brenic {

namespace ssl = boost::asio::ssl;
using rlib::Failure;
using rlib::Result;

namespace {

Failure Unreadable(const char* what, const Path& file, const String& reason) {
  return Failure(fmt::format("Cannot read the {} '{}': {}; correct its path in brenic.conf, or make it "
                             "readable",
                             what, file.str().str(), reason.str()));
}

/// Fails unless the file can be read. `name` is that of its entry in brenic.conf.
Result<> CheckReadable(const char* what, const char* name, const Path& file) {
  if (file.empty())
    return Failure(fmt::format("The configuration names no {}; write '{} = FILE' into its section [Client]",
                               what, name));
  struct stat info {};
  if (stat(file.c_str(), &info) != 0 || access(file.c_str(), R_OK) != 0)
    return Unreadable(what, file, rlib::ErrorText(errno));
  if (!S_ISREG(info.st_mode))
    return Unreadable(what, file, "it is no regular file");
  return {};
}

/// Fails when others than its owner may do anything with the file.
Result<> CheckKeptFromOthers(const Path& key) {
  struct stat info {};
  if (stat(key.c_str(), &info) == 0 && (info.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    return Failure(
        fmt::format("The private key '{0}' can be read by others; run: chmod 600 '{0}'", key.str().str()));
  return {};
}

Result<> CheckFiles(const Credentials& credentials) {
  const struct {
    const char* m_What;
    const char* m_Name;
    const Path& m_File;
  } files[] = {{"certificate authority", "CA", credentials.m_Authority},
               {"certificate", "Certificate", credentials.m_Certificate},
               {"private key", "Key", credentials.m_Key}};
  for (const auto& [what, name, file] : files) {
    if (Result<> readable = CheckReadable(what, name, file); !readable)
      return readable;
  }
  return CheckKeptFromOthers(credentials.m_Key);
}

Failure Unusable(const char* what, const Path& file, const String& reason, const char* wish = "") {
  return Failure(
      fmt::format("The {} '{}' cannot be used: {}; {}take the file as 'brenic-master client' made it", what,
                  file.str().str(), reason.str(), wish));
}

Result<> Load(SSL_CTX* context, const Credentials& credentials) {
  ERR_clear_error();
  // Nobody is there to type a passphrase.
  SSL_CTX_set_default_passwd_cb(context, [](char*, int, int, void*) { return 0; });
  if (const Result<> trusted = TrustAuthorities(context, credentials.m_Authority); !trusted)
    return Unusable("certificate authority", credentials.m_Authority, trusted.Reason());
  if (SSL_CTX_use_certificate_chain_file(context, credentials.m_Certificate.c_str()) != 1)
    return Unusable("certificate", credentials.m_Certificate, TlsError());
  const bool usable = SSL_CTX_use_PrivateKey_file(context, credentials.m_Key.c_str(), SSL_FILETYPE_PEM) == 1;
  const bool mismatch = ERR_GET_REASON(ERR_peek_last_error()) == X509_R_KEY_VALUES_MISMATCH;
  if (!usable && !mismatch)
    return Unusable("private key", credentials.m_Key, TlsError(), "it must have no passphrase: ");
  if (!usable || SSL_CTX_check_private_key(context) != 1)
    return Failure(fmt::format("The private key '{}' does not belong to the certificate '{}'; take both "
                               "from one folder that 'brenic-master client' made",
                               credentials.m_Key.str().str(), credentials.m_Certificate.str().str()));
  return {};
}

} // namespace

Result<ssl::context> MakeClientContext(const Credentials& credentials) {
  if (const Result<> usable = CheckFiles(credentials); !usable)
    return usable.Why();
  ssl::context context = MakeTlsContext(ssl::context::tls_client);
  if (const Result<> loaded = Load(context.native_handle(), credentials); !loaded)
    return loaded.Why();
  return context;
}

} // namespace brenic
