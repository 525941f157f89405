#include "manage/Certificates.h"
#include "store/CertificateFields.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

namespace brenic::master {
namespace {

X509* Read(const std::string& pem) {
  BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  X509* certificate = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
  BIO_free(bio);
  return certificate;
}

/// How OpenSSL judges the certificate for a purpose, as a peer of that host when one is named.
int Verify(const std::string& authority, const std::string& pem, int purpose, const char* host = nullptr) {
  X509* root = Read(authority);
  X509* certificate = Read(pem);
  X509_STORE* store = X509_STORE_new();
  X509_STORE_add_cert(store, root);
  X509_STORE_CTX* context = X509_STORE_CTX_new();
  X509_STORE_CTX_init(context, store, certificate, nullptr);
  X509_STORE_CTX_set_purpose(context, purpose);
  if (host && X509_VERIFY_PARAM_set1_ip_asc(X509_STORE_CTX_get0_param(context), host) != 1)
    X509_VERIFY_PARAM_set1_host(X509_STORE_CTX_get0_param(context), host, 0);
  X509_verify_cert(context);
  const int result = X509_STORE_CTX_get_error(context);
  X509_STORE_CTX_free(context);
  X509_STORE_free(store);
  X509_free(certificate);
  X509_free(root);
  return result;
}

TEST(Certificates, OfTheAuthorityAreAcceptedForTheirPurposeOnly) {
  const Credential authority = MakeAuthority("test");
  const auto server = IssueServer(authority, "m", {"farm", "::1", "10.0.0.1"}).m_Credential.m_Certificate;
  const auto client = IssueClient(authority, "c").m_Credential.m_Certificate;
  const std::string& root = authority.m_Certificate;
  EXPECT_EQ(Verify(root, server, X509_PURPOSE_SSL_SERVER), X509_V_OK);
  EXPECT_EQ(Verify(root, client, X509_PURPOSE_SSL_CLIENT), X509_V_OK);
  EXPECT_EQ(Verify(root, client, X509_PURPOSE_SSL_SERVER), X509_V_ERR_INVALID_PURPOSE);
  EXPECT_EQ(Verify(root, server, X509_PURPOSE_SSL_CLIENT), X509_V_ERR_INVALID_PURPOSE);
  for (const char* host : {"farm", "::1", "10.0.0.1"})
    EXPECT_EQ(Verify(root, server, X509_PURPOSE_SSL_SERVER, host), X509_V_OK) << host;
  EXPECT_EQ(Verify(root, server, X509_PURPOSE_SSL_SERVER, "elsewhere"), X509_V_ERR_HOSTNAME_MISMATCH);
  EXPECT_EQ(Verify(root, server, X509_PURPOSE_SSL_SERVER, "10.0.0.2"), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST(Certificates, OfAnotherAuthorityOrOfThePastAreNotAccepted) {
  const Credential authority = MakeAuthority("test");
  const auto client = IssueClient(authority, "c").m_Credential.m_Certificate;
  EXPECT_NE(Verify(MakeAuthority("test").m_Certificate, client, X509_PURPOSE_SSL_CLIENT), X509_V_OK);
  const auto expired = IssueClient(authority, "c", Validity::Days(-1)).m_Credential.m_Certificate;
  EXPECT_EQ(Verify(authority.m_Certificate, expired, X509_PURPOSE_SSL_CLIENT), X509_V_ERR_CERT_HAS_EXPIRED);
}

TEST(Certificates, HaveLongSerialNumbersOfTheirOwn) {
  const Credential authority = MakeAuthority("test");
  const Issued first = IssueClient(authority, "c");
  const Issued second = IssueClient(authority, "c");
  EXPECT_NE(first.m_Serial, second.m_Serial);
  EXPECT_EQ(first.m_Serial.size(), 32u);
  X509* certificate = Read(first.m_Credential.m_Certificate);
  EXPECT_EQ(SerialOf(certificate), first.m_Serial);
  X509_free(certificate);
}

TEST(Certificates, TellTheirHostsAndHowLongTheyAreValid) {
  const Credential authority = MakeAuthority("test");
  const std::vector<std::string> hosts{"farm", "::1", "10.0.0.1"};
  const Validity validity{1'700'000'000'000, 1'900'000'000'000};
  const Credential server = IssueServer(authority, "m", hosts, validity).m_Credential;
  EXPECT_EQ(HostsOf(server), hosts) << "in their order";
  EXPECT_EQ(ValidityOf(server.m_Certificate).m_Begin, validity.m_Begin - 60 * 60 * 1000);
  EXPECT_EQ(ValidityOf(server.m_Certificate).m_End, validity.m_End);
}

TEST(Certificates, DoNotOutliveTheirAuthority) {
  const Credential authority = MakeAuthority("test", Validity::Days(10));
  const Validity within = Validity::Days(730).Within(authority.m_Certificate);
  EXPECT_EQ(within.m_End, ValidityOf(authority.m_Certificate).m_End);
  EXPECT_LT(Validity::Days(5).Within(authority.m_Certificate).m_End, within.m_End);
}

TEST(Certificates, AreIssuedForAKeyThatStaysWhereItIs) {
  const Credential authority = MakeAuthority("test");
  const KeyPair key = MakeKey();
  const Issued issued = IssueClientFor(authority, "c", key.m_Public, Validity::Days(1));
  EXPECT_EQ(issued.m_Credential.m_Key, "");
  EXPECT_TRUE(IsKeyOf(issued.m_Credential.m_Certificate, key.m_Private));
  EXPECT_FALSE(IsKeyOf(issued.m_Credential.m_Certificate, MakeKey().m_Private));
  EXPECT_EQ(SerialOfPem(issued.m_Credential.m_Certificate), issued.m_Serial);
}

TEST(Certificates, AreNotMadeForWhatIsNoHost) {
  const Credential authority = MakeAuthority("test");
  try {
    IssueServer(authority, "m", {"a,DNS:b"});
    FAIL();
  } catch (Exception* error) {
    EXPECT_EQ(error->Message(), "'a,DNS:b' is no host name and no address");
    delete error;
  }
}

} // namespace
} // namespace brenic::master
