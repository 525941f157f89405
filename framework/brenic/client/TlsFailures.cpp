#include "client/TlsFailures.h"

#include <algorithm>
#include <ctime>
#include <optional>

#include <boost/asio/ssl/error.hpp>
#include <fmt/core.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "client/OwnCertificate.h"
#include "rlib/Escape.h"

namespace brenic {

namespace {

constexpr char k_CheckAddress[] = "check that the address and port are a Master's";
constexpr size_t k_MostNames = 8;
constexpr size_t k_LongestHost = 253; // characters

std::string Text(const tm& time) {
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} UTC", time.tm_year + 1900, time.tm_mon + 1,
                     time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

std::string Text(const ASN1_TIME* time) {
  tm parts{};
  return ASN1_TIME_to_tm(time, &parts) == 1 ? Text(parts) : "an unknown time";
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  tm parts{};
  gmtime_r(&now, &parts);
  return Text(parts);
}

/// A host in a certificate; none for entries that name something else.
std::optional<std::string> Host(const GENERAL_NAME& entry) {
  const ASN1_STRING* value = entry.type == GEN_DNS ? entry.d.dNSName : entry.d.iPAddress;
  if (entry.type != GEN_DNS && entry.type != GEN_IPADD)
    return std::nullopt;
  const unsigned char* bytes = ASN1_STRING_get0_data(value);
  const auto size = static_cast<size_t>(ASN1_STRING_length(value));
  if (entry.type == GEN_DNS) {
    const String name(std::string(bytes, bytes + std::min(size, k_LongestHost)));
    return rlib::EscapeControls(name).str();
  }
  asio::ip::address_v4::bytes_type v4;
  asio::ip::address_v6::bytes_type v6;
  if (size == v4.size()) {
    std::copy_n(bytes, size, v4.begin());
    return asio::ip::address_v4(v4).to_string();
  }
  if (size == v6.size()) {
    std::copy_n(bytes, size, v6.begin());
    return asio::ip::address_v6(v6).to_string();
  }
  return std::nullopt;
}

/// As "a, b and c", the first few; empty when it names none.
std::string Hosts(const X509* certificate) {
  auto* names =
      static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr));
  std::vector<std::string> hosts;
  size_t more = 0;
  for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
    auto host = Host(*sk_GENERAL_NAME_value(names, i));
    if (host && hosts.size() < k_MostNames)
      hosts.push_back(std::move(*host));
    else if (host)
      ++more;
  }
  GENERAL_NAMES_free(names);
  if (more > 0)
    hosts.push_back(fmt::format("{} more", more));
  std::string text = hosts.empty() ? "" : hosts[0];
  for (size_t i = 1; i < hosts.size(); ++i)
    text += (i + 1 == hosts.size() ? " and " : ", ") + hosts[i];
  return text;
}

/// A certificate of the Master's whose time has not come, or is over. `isOwn`: not its authority's.
std::string WrongTime(const X509* certificate, bool isOwn, bool isExpired) {
  const std::string which = isOwn ? "it" : "the authority that issued it";
  if (!isExpired)
    return fmt::format(
        "{} is valid only from {} on, and by this machine's clock it is {}; correct that clock or "
        "the Master's",
        which, Text(X509_get0_notBefore(certificate)), Now());
  return fmt::format("{} expired on {}, and by this machine's clock it is {}; correct that clock, or {}",
                     which, Text(X509_get0_notAfter(certificate)), Now(),
                     isOwn ? "start the Master again, which renews it"
                           : "have its administrator renew the authority ('brenic-master authority --renew') "
                             "and make new credentials");
}

std::string Why(X509_STORE_CTX* verification, const String& host, const X509* own) {
  const int error = X509_STORE_CTX_get_error(verification);
  const bool isOwn = X509_STORE_CTX_get_error_depth(verification) == 0;
  const char* reason = X509_verify_cert_error_string(error);
  switch (error) {
  case X509_V_ERR_CERT_HAS_EXPIRED:
  case X509_V_ERR_CERT_NOT_YET_VALID:
    return WrongTime(X509_STORE_CTX_get_current_cert(verification), isOwn,
                     error == X509_V_ERR_CERT_HAS_EXPIRED);
  case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
  case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
  case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
  case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
  case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
  case X509_V_ERR_CERT_SIGNATURE_FAILURE:
    return fmt::format(
        "it was issued by another authority than these credentials trust ({}): either another "
        "Master or something else answers there (check the address and port, or take credentials "
        "of that Master), or this machine was away while the farm's authority was renewed ({})",
        reason, HowToRenew(own));
  case X509_V_ERR_HOSTNAME_MISMATCH:
  case X509_V_ERR_IP_ADDRESS_MISMATCH: {
    const std::string hosts = Hosts(X509_STORE_CTX_get0_cert(verification));
    if (hosts.empty())
      return fmt::format("it names no host, so it is not a Master's; {}", k_CheckAddress);
    return fmt::format("it is for {}, not for {}; use one of these as the address", hosts, host.str());
  }
  case X509_V_ERR_INVALID_PURPOSE:
    return fmt::format("it is not one of a Master ({}); {}", reason, k_CheckAddress);
  default:
    return fmt::format("{}; ask the Master's administrator to look at it", reason);
  }
}

bool IsTls(const error_code& error) {
  return error.category() == asio::error::get_ssl_category();
}

/// The alert that the peer sent; none for other errors.
std::optional<int> Alert(const error_code& error) {
  const int reason = ERR_GET_REASON(static_cast<unsigned long>(error.value()));
  if (!IsTls(error) || reason < SSL_AD_REASON_OFFSET)
    return std::nullopt;
  return reason - SSL_AD_REASON_OFFSET;
}

/// What may be wrong with a certificate when the peer answers it with this alert, and what to do; none for
/// alerts that are about something else.
std::optional<std::string> AboutCertificate(int alert, const X509* own) {
  switch (alert) {
  case SSL_AD_CERTIFICATE_EXPIRED:
  case SSL_AD_BAD_CERTIFICATE: // also for one that is not valid yet
    return fmt::format("it is valid from {} to {}, and by this machine's clock it is {}; {}, or compare the "
                       "clocks of the two machines",
                       Text(X509_get0_notBefore(own)), Text(X509_get0_notAfter(own)), Now(), HowToRenew(own));
  case SSL_AD_UNKNOWN_CA:
  case SSL_AD_DECRYPT_ERROR: // the authority has the right name and another key
    return fmt::format(
        "another authority issued it: either another Master answers there (check the address and "
        "port), or this machine was away while the farm's authority was renewed ({})",
        HowToRenew(own));
  case SSL_AD_UNSUPPORTED_CERTIFICATE:
  case SSL_AD_CERTIFICATE_REVOKED:
  case SSL_AD_CERTIFICATE_UNKNOWN:
  case SSL_AD_ACCESS_DENIED:
  case TLS13_AD_CERTIFICATE_REQUIRED:
    return HowToRenew(own);
  default:
    return std::nullopt;
  }
}

ConnectFailure ExplainAlert(int alert, const std::string& reason, const X509* own) {
  if (const auto advice = AboutCertificate(alert, own))
    return {fmt::format("it does not accept this client's certificate ({}): {}", reason, *advice), true};
  if (alert == SSL_AD_PROTOCOL_VERSION)
    return {fmt::format("it does not speak TLS 1.3; {}", k_CheckAddress), true};
  return {fmt::format("it refuses the TLS connection ({}); {}", reason, k_CheckAddress), true};
}

} // namespace

String WhyNotTrusted(X509_STORE_CTX* verification, const String& host, const X509* own) {
  return "its certificate is not accepted: " + Why(verification, host, own);
}

ConnectFailure ExplainHandshake(const error_code& error, const X509* own) {
  if (const auto alert = Alert(error))
    return ExplainAlert(*alert, error.message(), own);
  if (IsTls(error) && error != asio::ssl::error::stream_truncated)
    return {fmt::format("it does not speak TLS 1.3 ({}); {}", error.message(), k_CheckAddress), false};
  return {fmt::format("{} during the TLS handshake; {}", Explain(error).str(), k_CheckAddress), false};
}

ConnectFailure ExplainRefusal(const error_code& error, const X509* own) {
  if (const auto alert = Alert(error))
    return ExplainAlert(*alert, error.message(), own);
  return {fmt::format("{} before this client was let in; the Master's log says why", Explain(error).str()),
          false};
}

} // namespace brenic
