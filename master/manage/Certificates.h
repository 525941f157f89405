// The Master's certificate authority: P-256 keys and X.509 certificates, in PEM form.
#pragma once

#include <openssl/types.h>

#include "store/Store.h"

namespace brenic::master {

inline constexpr int k_AuthorityDays = 3653;
inline constexpr int k_CertificateDays = 730;
inline constexpr int k_RenewalDays = 90; // left of a certificate when it should be renewed

/// A certificate, its key and its serial number in lower-case hexadecimal.
struct Issued {
  Credential m_Credential;
  std::string m_Serial;
};

/// From when to when a certificate is valid, in milliseconds since 1970-01-01 UTC. It begins an hour earlier,
/// since the clocks of a farm differ a little.
struct Validity {
  int64_t m_Begin = 0;
  int64_t m_End = 0;

  /// So many days from that time on, by default from now on; negative ones have already ended.
  static Validity Days(int days, int64_t from = rlib::Time::Now().Milliseconds());
  /// Not beyond the end of the certificate, PEM.
  Validity Within(const std::string& certificate) const;
};

/// A new self-signed authority. Everything here throws Exception* when OpenSSL fails.
Credential MakeAuthority(const String& name, const Validity& validity = Validity::Days(k_AuthorityDays));

/// A certificate for a Master that is reached by these host names and addresses, in this order.
Issued IssueServer(const Credential& authority, const String& name, const std::vector<std::string>& hosts,
                   const Validity& validity = Validity::Days(k_CertificateDays));

/// A certificate for a client and its fresh key.
Issued IssueClient(const Credential& authority, const String& name,
                   const Validity& validity = Validity::Days(k_CertificateDays));
/// A certificate for a client that has a key of its own, of which this is the public one, PEM.
Issued IssueClientFor(const Credential& authority, const String& name, const std::string& publicKey,
                      const Validity& validity);

/// A fresh key, PEM: the private one and the public one.
struct KeyPair {
  std::string m_Private;
  std::string m_Public;
};
KeyPair MakeKey();

/// The host names and addresses of a certificate that IssueServer made, in their order.
std::vector<std::string> HostsOf(const Credential& server);

/// Until when the certificate is valid, PEM.
Validity ValidityOf(const std::string& certificate);
/// Its serial number, as ClientRecord has it.
std::string SerialOfPem(const std::string& certificate);
/// Whether the key belongs to the certificate; both PEM.
bool IsKeyOf(const std::string& certificate, const std::string& key);

} // namespace brenic::master
