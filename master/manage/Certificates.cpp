#include "manage/Certificates.h"

#include <algorithm>
#include <memory>

#include <arpa/inet.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "manage/OpensslHandles.h"
#include "manage/Words.h"
#include "net/TlsContext.h"
#include "store/CertificateFields.h"

namespace brenic::master {

namespace {

using Number = std::unique_ptr<BIGNUM, OpensslFree<BN_free>>;
using Names = std::unique_ptr<GENERAL_NAMES, OpensslFree<GENERAL_NAMES_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, OpensslFree<X509_EXTENSION_free>>;

constexpr int64_t k_Second = 1000; // milliseconds
constexpr int64_t k_Hour = 60 * 60 * k_Second;

void Require(bool done, const char* what) {
  if (!done)
    throw new Exception(String("Cannot make a certificate: ") + what + ": " + TlsError());
}

template <typename Write>
std::string ToPem(Write write) {
  const Buffer buffer(BIO_new(BIO_s_mem()));
  Require(buffer && write(buffer.get()) == 1, "writing PEM");
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(buffer.get(), &bytes);
  return std::string(bytes, static_cast<size_t>(size));
}

template <typename Object, typename Read>
Object FromPem(const std::string& pem, Read read) {
  const Buffer buffer(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  Object object(buffer ? read(buffer.get(), nullptr, nullptr, nullptr) : nullptr);
  Require(object != nullptr, "reading PEM");
  return object;
}

void AddExtension(X509* certificate, X509* issuer, int id, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
  Require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "adding an extension");
}

/// Sets a fresh random serial number and returns it in hexadecimal.
std::string SetSerial(X509* certificate) {
  constexpr int k_Bits = 127; // positive in 16 bytes
  const Number serial(BN_new());
  Require(serial && BN_rand(serial.get(), k_Bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
              BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(certificate)),
          "making a serial number");
  return SerialOf(certificate);
}

void SetName(X509_NAME* subject, const String& name) {
  // A common name holds at most 64 characters.
  const std::string text = name.str().substr(0, 64);
  Require(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()), -1, 0) == 1,
          "setting the name");
}

struct Draft {
  Key m_Key; // public at least
  Certificate m_Certificate;
  std::string m_Serial;
};

Key FreshKey() {
  Key key(EVP_EC_gen("P-256"));
  Require(key != nullptr, "making a key");
  return key;
}

Draft Begin(const String& name, const Validity& validity, Key key) {
  Draft draft{std::move(key), Certificate(X509_new()), {}};
  X509* certificate = draft.m_Certificate.get();
  Require(certificate != nullptr, "making a certificate");
  Require(X509_set_version(certificate, X509_VERSION_3) == 1, "setting the version");
  draft.m_Serial = SetSerial(certificate);
  const int64_t begin = validity.m_Begin - k_Hour;
  Require(ASN1_TIME_set(X509_getm_notBefore(certificate), begin / k_Second) &&
              ASN1_TIME_set(X509_getm_notAfter(certificate), validity.m_End / k_Second),
          "setting the validity");
  SetName(X509_get_subject_name(certificate), name);
  Require(X509_set_pubkey(certificate, draft.m_Key.get()) == 1, "setting the key");
  return draft;
}

std::string PemOf(EVP_PKEY* key) {
  return ToPem(
      [&](BIO* out) { return PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

/// The signed certificate, PEM.
std::string Sign(const Draft& draft, X509* issuer, EVP_PKEY* issuerKey) {
  X509* certificate = draft.m_Certificate.get();
  Require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1, "setting the issuer");
  AddExtension(certificate, issuer, NID_subject_key_identifier, "hash");
  if (issuer != certificate)
    AddExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
  Require(X509_sign(certificate, issuerKey, EVP_sha256()) > 0, "signing");
  return ToPem([&](BIO* out) { return PEM_write_bio_X509(out, certificate); });
}

/// Without its key.
Issued Issue(const Credential& authority, const String& name, const Validity& validity, Key key,
             const char* usage, const std::string& alternativeNames) {
  const auto issuer = FromPem<Certificate>(authority.m_Certificate, PEM_read_bio_X509);
  const auto issuerKey = FromPem<Key>(authority.m_Key, PEM_read_bio_PrivateKey);
  const Draft draft = Begin(name, validity, std::move(key));
  X509* certificate = draft.m_Certificate.get();
  AddExtension(certificate, issuer.get(), NID_basic_constraints, "critical,CA:FALSE");
  AddExtension(certificate, issuer.get(), NID_key_usage, "critical,digitalSignature");
  AddExtension(certificate, issuer.get(), NID_ext_key_usage, usage);
  if (!alternativeNames.empty())
    AddExtension(certificate, issuer.get(), NID_subject_alt_name, alternativeNames);
  return {{Sign(draft, issuer.get(), issuerKey.get()), {}}, draft.m_Serial};
}

Issued IssueWithFreshKey(const Credential& authority, const String& name, const Validity& validity,
                         const char* usage, const std::string& alternativeNames) {
  Key key = FreshKey();
  std::string pem = PemOf(key.get());
  Issued issued = Issue(authority, name, validity, std::move(key), usage, alternativeNames);
  issued.m_Credential.m_Key = std::move(pem);
  return issued;
}

bool IsAddress(const std::string& host) {
  unsigned char address[sizeof(in6_addr)];
  return inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
}

} // namespace

Validity Validity::Days(int days, int64_t from) {
  const int64_t end = from + days * k_Day;
  return {std::min(from, end), end};
}

Validity Validity::Within(const std::string& certificate) const {
  return {m_Begin, std::min(m_End, ValidityOf(certificate).m_End)};
}

Credential MakeAuthority(const String& name, const Validity& validity) {
  const Draft draft = Begin(name, validity, FreshKey());
  X509* certificate = draft.m_Certificate.get();
  AddExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  AddExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  return {Sign(draft, certificate, draft.m_Key.get()), PemOf(draft.m_Key.get())};
}

KeyPair MakeKey() {
  const Key key = FreshKey();
  return {PemOf(key.get()), ToPem([&](BIO* out) { return PEM_write_bio_PUBKEY(out, key.get()); })};
}

std::vector<std::string> HostsOf(const Credential& server) {
  const auto certificate = FromPem<Certificate>(server.m_Certificate, PEM_read_bio_X509);
  const Names names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate.get(), NID_subject_alt_name, nullptr, nullptr)));
  std::vector<std::string> hosts;
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    int kind = 0;
    const auto* const value = static_cast<const ASN1_STRING*>(
        GENERAL_NAME_get0_value(sk_GENERAL_NAME_value(names.get(), i), &kind));
    const unsigned char* const bytes = ASN1_STRING_get0_data(value);
    const int size = ASN1_STRING_length(value);
    char address[INET6_ADDRSTRLEN];
    if (kind == GEN_DNS)
      hosts.emplace_back(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
    else if (kind == GEN_IPADD && inet_ntop(size == 4 ? AF_INET : AF_INET6, bytes, address, sizeof address))
      hosts.emplace_back(address);
  }
  return hosts;
}

Validity ValidityOf(const std::string& pem) {
  const auto certificate = FromPem<Certificate>(pem, PEM_read_bio_X509);
  return {TimeOf(X509_get0_notBefore(certificate.get())), TimeOf(X509_get0_notAfter(certificate.get()))};
}

std::string SerialOfPem(const std::string& pem) {
  return SerialOf(FromPem<Certificate>(pem, PEM_read_bio_X509).get());
}

bool IsKeyOf(const std::string& pem, const std::string& keyPem) {
  const auto certificate = FromPem<Certificate>(pem, PEM_read_bio_X509);
  const auto key = FromPem<Key>(keyPem, PEM_read_bio_PrivateKey);
  return X509_check_private_key(certificate.get(), key.get()) == 1;
}

Issued IssueServer(const Credential& authority, const String& name, const std::vector<std::string>& hosts,
                   const Validity& validity) {
  std::string names;
  for (const std::string& host : hosts) {
    if (host.find_first_of(",:\n") != std::string::npos && !IsAddress(host))
      throw new Exception("'" + host + "' is no host name and no address");
    names += (names.empty() ? "" : ",") + std::string(IsAddress(host) ? "IP:" : "DNS:") + host;
  }
  return IssueWithFreshKey(authority, name, validity, "serverAuth", names);
}

Issued IssueClient(const Credential& authority, const String& name, const Validity& validity) {
  return IssueWithFreshKey(authority, name, validity, "clientAuth", {});
}

Issued IssueClientFor(const Credential& authority, const String& name, const std::string& publicKey,
                      const Validity& validity) {
  const auto read = [](BIO* in, EVP_PKEY** key, pem_password_cb* password, void* argument) {
    return PEM_read_bio_PUBKEY(in, key, password, argument);
  };
  return Issue(authority, name, validity, FromPem<Key>(publicKey, read), "clientAuth", {});
}

} // namespace brenic::master
