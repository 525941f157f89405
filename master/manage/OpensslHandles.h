// What OpenSSL hands out, freed by itself.
#pragma once

#include <memory>

#include <openssl/evp.h>
#include <openssl/x509v3.h>

namespace brenic::master {

template <auto k_Free>
struct OpensslFree {
  template <typename Object>
  void operator()(Object* object) const {
    k_Free(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, OpensslFree<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, OpensslFree<X509_free>>;
using Buffer = std::unique_ptr<BIO, OpensslFree<BIO_vfree>>;

} // namespace brenic::master
