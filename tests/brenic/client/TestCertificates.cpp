#include "TestCertificates.h"

#include <cstdio>
#include <stdexcept>
#include <sys/stat.h>

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace brenic {

namespace {

void Require(bool done) {
  if (!done)
    throw std::runtime_error("a test certificate could not be made");
}

template <typename Write>
void WriteFile(const std::string& path, Write write) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  Require(file);
  const bool written = write(file) == 1;
  Require(std::fclose(file) == 0 && written);
}

void Extend(X509* certificate, X509* issuer, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  Require(extension);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

} // namespace

void TestCertificate::WriteCertificate(const std::string& path) const {
  WriteFile(path, [&](std::FILE* file) { return PEM_write_X509(file, m_Certificate.get()); });
}

void TestCertificate::WriteKey(const std::string& path, unsigned mode) const {
  WriteFile(path, [&](std::FILE* file) {
    return PEM_write_PrivateKey(file, m_Key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  });
  Require(chmod(path.c_str(), mode) == 0);
}

TestCertificate MakeCertificate(const CertificateWish& wish, const TestCertificate* authority) {
  static long s_Serial = 0;
  TestCertificate made;
  made.m_Key.reset(EVP_EC_gen("P-256"));
  made.m_Certificate.reset(X509_new());
  X509* certificate = made.m_Certificate.get();
  X509* issuer = authority ? authority->m_Certificate.get() : certificate;
  Require(made.m_Key && certificate);
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++s_Serial);
  X509_gmtime_adj(X509_getm_notBefore(certificate), wish.m_ValidFrom);
  X509_gmtime_adj(X509_getm_notAfter(certificate), wish.m_ValidFor);
  X509_NAME* name = X509_get_subject_name(certificate);
  const std::string common = "test " + std::to_string(s_Serial);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(common.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate, X509_get_subject_name(issuer));
  X509_set_pubkey(certificate, made.m_Key.get());
  if (wish.m_Purpose == Purpose::k_Authority) {
    Extend(certificate, issuer, NID_basic_constraints, "critical,CA:TRUE");
    Extend(certificate, issuer, NID_key_usage, "critical,keyCertSign");
  } else if (wish.m_Purpose == Purpose::k_Server) {
    Extend(certificate, issuer, NID_ext_key_usage, "serverAuth");
    Extend(certificate, issuer, NID_subject_alt_name, wish.m_Names.c_str());
  } else {
    Extend(certificate, issuer, NID_ext_key_usage, "clientAuth");
  }
  Require(X509_sign(certificate, authority ? authority->m_Key.get() : made.m_Key.get(), EVP_sha256()) > 0);
  return made;
}

} // namespace brenic
