// Certificates for tests, made on the spot.
#pragma once

#include <memory>
#include <string>

#include <openssl/x509.h>

namespace brenic {

struct Free {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
};

/// A certificate and its P-256 key.
struct TestCertificate {
  std::unique_ptr<EVP_PKEY, Free> m_Key;
  std::unique_ptr<X509, Free> m_Certificate;

  void WriteCertificate(const std::string& path) const;
  /// With this mode.
  void WriteKey(const std::string& path, unsigned mode = 0600) const;
};

enum class Purpose { k_Authority, k_Server, k_Client };

struct CertificateWish {
  Purpose m_Purpose = Purpose::k_Server;
  std::string m_Names = "DNS:localhost,IP:127.0.0.1"; // of a server
  long m_ValidFrom = -7200;                           // seconds from now
  long m_ValidFor = 3600;                             // seconds from now; negative: expired
};

/// Signed by `authority`, or by itself when there is none.
TestCertificate MakeCertificate(const CertificateWish& wish, const TestCertificate* authority);

} // namespace brenic
