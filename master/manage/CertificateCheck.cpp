#include "manage/CertificateCheck.h"

#include <algorithm>
#include <memory>

#include <fmt/core.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "farm/TextCheck.h"
#include "manage/Addresses.h"
#include "manage/Certificates.h"
#include "manage/OpensslHandles.h"
#include "manage/Words.h"
#include "net/Endpoint.h"
#include "rlib/Escape.h"
#include "store/Store.h"

namespace brenic::master {

namespace {

constexpr char k_Restore[] = "restore the last backup that is whole";

/// Null for what is not one.
template <typename Object, typename Read>
Object ReadPem(const std::string& pem, Read read) {
  const std::unique_ptr<BIO, OpensslFree<BIO_vfree>> buffer(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  // A password is asked for by nobody.
  const auto noPassword = [](char*, int, int, void*) { return -1; };
  Object object(buffer ? read(buffer.get(), nullptr, noPassword, nullptr) : nullptr);
  ERR_clear_error();
  return object;
}

bool IsOver(const X509* certificate) {
  return X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0;
}

/// What is wrong with a certificate and its key is told; null when it cannot be read.
Certificate CheckPair(const std::string& whose, const Credential& credential, Findings& findings) {
  auto certificate = ReadPem<Certificate>(credential.m_Certificate, PEM_read_bio_X509);
  if (!certificate)
    findings.Problem("The certificate of " + whose + " cannot be read", k_Restore);
  if (!certificate || credential.m_Key.empty())
    return certificate;
  const auto key = ReadPem<Key>(credential.m_Key, PEM_read_bio_PrivateKey);
  if (!key)
    findings.Problem("The private key of " + whose + " cannot be read", k_Restore);
  else if (X509_check_private_key(certificate.get(), key.get()) != 1)
    findings.Problem("The private key of " + whose + " is not that of its certificate", k_Restore);
  ERR_clear_error();
  return certificate;
}

bool IsSignedBy(X509* certificate, X509* authority) {
  EVP_PKEY* const key = X509_get0_pubkey(authority);
  const bool isSigned =
      key && X509_check_issued(authority, certificate) == X509_V_OK && X509_verify(certificate, key) == 1;
  ERR_clear_error();
  return isSigned;
}

class CertificateCheck {
public:
  CertificateCheck(Database& database, bool isBackup, Findings& findings)
      : m_Database(database), m_IsBackup(isBackup), m_Findings(findings) {}

  void Authorities() {
    Statement row(m_Database.Handle(), "SELECT number, certificate, key FROM authority ORDER BY number");
    std::vector<int64_t> missing; // keys
    while (row.Step()) {
      m_LastAuthority = row.Integer(0);
      const std::string whose = fmt::format("authority {}", m_LastAuthority);
      Certificate certificate = CheckPair(whose, {row.Text(1), row.Text(2)}, m_Findings);
      if (row.Text(2).empty())
        missing.push_back(m_LastAuthority);
      if (certificate && X509_check_ca(certificate.get()) == 0)
        m_Findings.Problem("The certificate of " + whose + " is none of an authority", k_Restore);
      if (certificate && X509_verify(certificate.get(), X509_get0_pubkey(certificate.get())) != 1)
        m_Findings.Problem("The certificate of " + whose + " is not as it was signed", k_Restore);
      ERR_clear_error();
      if (certificate && IsOver(certificate.get()))
        m_Findings.Problem("The certificate of " + whose + " has ended",
                           "every client needs new credentials of a new authority");
      m_Authorities[m_LastAuthority] = std::move(certificate);
      m_Findings.Checked("authorities", 1);
    }
    if (m_Authorities.empty())
      m_Findings.Problem("There is no certificate authority", k_Restore);
    for (const int64_t number : missing)
      m_Findings.Note(
          fmt::format("The private key of authority {} is not here{}", number,
                      number == m_LastAuthority ? ": no certificate can be issued with this" : ""));
  }

  void Master() {
    Statement row(m_Database.Handle(),
                  "SELECT id, name, address, server_certificate, server_key, server_authority FROM master");
    size_t count = 0;
    for (; row.Step(); ++count) {
      const std::string id = row.Text(0);
      if (id.size() != UID::Raw().size() || id.find_first_not_of('\0') == std::string::npos)
        m_Findings.Problem("The Master's identifier is none", k_Restore);
      CheckName("The Master's name", row.Text(1), k_Restore);
      if (!row.Text(2).empty() && !Endpoint::Parse(row.Text(2)))
        m_Findings.Problem("The Master's address is none that clients could be told", k_Restore);
      else if (!row.Text(2).empty())
        m_Findings.Guard("The Master's certificate", [&] { Address(row.Text(2), {row.Text(3), {}}); });
      Server({row.Text(3), row.Text(4)}, row.Integer(5));
    }
    if (count != 1)
      m_Findings.Problem(fmt::format("There are {} rows in the table 'master', where one belongs", count),
                         k_Restore);
  }

  void Clients() {
    Statement row(m_Database.Handle(),
                  "SELECT serial, name, role, authority, issued, expires, revoked FROM client");
    while (row.Step()) {
      const std::string serial = row.Text(0);
      const std::string whose = "The certificate '" + rlib::Excerpt(serial).str() + "'";
      constexpr char k_Advice[] =
          "restore the last backup that is whole, or issue its client new credentials";
      if (serial.empty() || serial.find_first_not_of("0123456789abcdef") != std::string::npos)
        m_Findings.Problem(whose + " has no serial number", k_Advice);
      CheckName(whose + " has a client whose name", row.Text(1), k_Advice);
      if (RoleName(RoleOf(row.Text(2))) != row.Text(2))
        m_Findings.Problem(whose + " has an unknown role", k_Advice);
      if (row.Integer(3) < 1 || row.Integer(3) > m_LastAuthority)
        m_Findings.Problem(fmt::format("{} is of the authority {}, which never was", whose, row.Integer(3)),
                           k_Advice);
      if (!row.IsNull(4) && !row.IsNull(5) && row.Integer(5) < row.Integer(4))
        m_Findings.Problem(whose + " ends before it was issued", k_Advice);
      for (int column = 4; column != 7; ++column)
        if (!row.IsNull(column) &&
            (Time(row.Integer(column)).Format().empty() || (column == 6 && row.Integer(column) < 0)))
          m_Findings.Problem(whose + " has a time that is none", k_Advice);
      m_Findings.Checked("certificates", 1);
    }
  }

private:
  void CheckName(const std::string& what, const String& name, const char* advice) {
    if (name.empty())
      m_Findings.Problem(what + " is empty", advice);
    else if (const auto check = CheckText(name, k_MaxName); !check)
      m_Findings.Problem(what + " " + check.Reason().str(), advice);
  }

  /// New credentials name the address.
  void Address(const String& address, const Credential& server) {
    const String host = Endpoint::Parse(address)->m_Host;
    const std::vector<std::string> hosts = HostsOf(server);
    const auto isSame = [&](const std::string& other) { return IsSameHost(other, host.str()); };
    if (!hosts.empty() && std::none_of(hosts.begin(), hosts.end(), isSame))
      m_Findings.Problem(
          fmt::format("New credentials name the host {}, for which the Master's certificate is not valid",
                      Quoted(host)),
          "make it valid for it with 'brenic-master hosts --add'");
  }

  void Server(const Credential& credential, int64_t authority) {
    const Certificate certificate = CheckPair("the Master", credential, m_Findings);
    if (credential.m_Key.empty() && m_IsBackup)
      m_Findings.Note("The Master's own private key is not here");
    else if (credential.m_Key.empty())
      m_Findings.Problem(
          "The Master's private key is not here",
          "give it the authority's with 'brenic-master authority --import'; serve then issues one");
    const auto issuer = m_Authorities.find(authority);
    if (issuer == m_Authorities.end())
      m_Findings.Problem(
          fmt::format("The Master's certificate is of the authority {}, which is not here", authority),
          k_Restore);
    else if (certificate && issuer->second && !IsSignedBy(certificate.get(), issuer->second.get()))
      m_Findings.Problem(
          fmt::format("The Master's certificate was not issued by the authority {}", authority), k_Restore);
    if (certificate && IsOver(certificate.get()))
      m_Findings.Problem("The Master's certificate has ended", "serve renews it at its start");
  }

  Database& m_Database;
  const bool m_IsBackup;
  Findings& m_Findings;
  std::map<int64_t, Certificate> m_Authorities; // null: cannot be read
  int64_t m_LastAuthority = 0;
};

} // namespace

void CheckCertificates(Database& database, bool isBackup, Findings& findings) {
  CertificateCheck check(database, isBackup, findings);
  findings.Guard("The authorities", [&] { check.Authorities(); });
  findings.Guard("The Master's own data", [&] { check.Master(); });
  findings.Guard("The clients' certificates", [&] { check.Clients(); });
}

} // namespace brenic::master
