// The Master's certificate authority: P-256 keys and X.509 certificates, in PEM form.
#pragma once

#include <set>

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

/// A new self-signed authority. Everything here throws Exception* when OpenSSL fails.
Credential MakeAuthority(const String& name);

/// A certificate for a Master that is reached by these host names and addresses.
Issued IssueServer(const Credential& authority, const String& name, const std::set<std::string>& hosts,
                   int validDays = k_CertificateDays);

/// A certificate for a client; negative days make one that has already expired.
Issued IssueClient(const Credential& authority, const String& name, int validDays = k_CertificateDays);

/// The host names and addresses of a certificate that IssueServer made.
std::set<std::string> HostsOf(const Credential& server);

/// How many whole days the certificate is valid from now on; negative when it is not any more.
int DaysLeft(const Credential& credential);

} // namespace brenic::master
