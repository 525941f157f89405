// What a user is told when there is no connection: what is wrong and what to do about it, on one line.
#include "TlsFixture.h"

namespace brenic {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr char k_CheckAddress[] = "; check that the address and port are a Master's";
constexpr char k_NewCredentials[] = "have 'brenic-master client \"test ";
constexpr char k_RunThere[] =
    "\" --renew --data-dir DIR --out FOLDER' run on the Master's machine, and put the new files in place of "
    "these";

class TlsFailuresTest : public TlsTest {
protected:
  void Expect(const ConnectFailure& failure, bool final, const testing::Matcher<std::string>& text) {
    EXPECT_THAT(failure.m_Text.str(), text);
    EXPECT_THAT(failure.m_Text.str(), Not(HasSubstr("\n")));
    EXPECT_EQ(failure.m_Final, final);
  }
  /// Why the Master's certificate is not accepted, which is final.
  void ExpectDistrust(const ConnectFailure& failure, const testing::Matcher<std::string>& text) {
    Expect(failure, true, AllOf(testing::StartsWith("its certificate is not accepted: "), text));
  }
};

TEST_F(TlsFailuresTest, ANameThatCannotBeResolvedIsTriedAgain) {
  Expect(FailureOfConnecting("no-such-host.invalid"), false,
         AllOf(HasSubstr("the name cannot be resolved: "),
               HasSubstr("; check how it is written, and this machine's network")));
}

TEST_F(TlsFailuresTest, ARefusedConnectionIsTriedAgain) {
  {
    asio::io_context io;
    m_Port = tcp::acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)).local_endpoint().port();
  }
  Expect(FailureOfConnecting(), false,
         "Connection refused: nothing listens there; check the address and port, and that the Master runs");
}

TEST_F(TlsFailuresTest, AServerOfAnotherAuthorityIsAnotherMaster) {
  Serve({});
  MakeCertificate({Purpose::k_Authority}, nullptr).WriteCertificate(m_Folder / "ca.pem");
  ExpectDistrust(
      FailureOfConnecting(),
      AllOf(HasSubstr("it was issued by another authority than these credentials trust (self-signed"),
            HasSubstr(
                "): either another Master or something else answers there (check the address and port, or "
                "take credentials of that Master), or this machine was away while the farm's authority was "
                "renewed (have 'brenic-master client \"test "),
            HasSubstr(k_RunThere)));
}

TEST_F(TlsFailuresTest, AnAuthorityOfTheSameNameIsAnotherOne) {
  Serve({});
  TestCertificate other = MakeCertificate({Purpose::k_Authority}, nullptr);
  X509_set_subject_name(other.m_Certificate.get(), X509_get_subject_name(m_Authority.m_Certificate.get()));
  X509_set_issuer_name(other.m_Certificate.get(), X509_get_subject_name(m_Authority.m_Certificate.get()));
  X509_sign(other.m_Certificate.get(), other.m_Key.get(), EVP_sha256());
  other.WriteCertificate(m_Folder / "ca.pem");
  ExpectDistrust(FailureOfConnecting(),
                 HasSubstr("it was issued by another authority than these credentials"));
}

TEST_F(TlsFailuresTest, AnExpiredServerCertificateTellsWhen) {
  Serve({.m_ValidFor = -3600});
  ExpectDistrust(
      FailureOfConnecting(),
      testing::ContainsRegex("it expired on 20..-..-.. ..:..:.. UTC, and by this machine's clock it is "
                             "20..-..-.. ..:..:.. UTC; correct that clock, or start the Master again, which "
                             "renews it$"));
}

TEST_F(TlsFailuresTest, AServerCertificateOfTheFutureSendsToTheClock) {
  Serve({.m_ValidFrom = 3600, .m_ValidFor = 7200});
  ExpectDistrust(
      FailureOfConnecting(),
      testing::ContainsRegex("it is valid only from 20..-..-.. ..:..:.. UTC on, and by this machine's "
                             "clock it is 20..-..-.. ..:..:.. UTC; correct that clock or the Master's"));
}

TEST_F(TlsFailuresTest, AnExpiredAuthorityIsToldFromItsCertificate) {
  m_Authority = MakeCertificate({.m_Purpose = Purpose::k_Authority, .m_ValidFor = -3600}, nullptr);
  m_Authority.WriteCertificate(m_Folder / "ca.pem");
  Serve({});
  ExpectDistrust(FailureOfConnecting(),
                 AllOf(HasSubstr("the authority that issued it expired on 20"),
                       HasSubstr("; correct that clock, or have its administrator renew the authority "
                                 "('brenic-master authority --renew') and make new credentials")));
}

TEST_F(TlsFailuresTest, AServerCertificateForAnotherHostNamesItsHosts) {
  Serve({.m_Names = "DNS:elsewhere.example,IP:192.0.2.7,IP:::1"});
  ExpectDistrust(
      FailureOfConnecting(),
      HasSubstr("it is for elsewhere.example, 192.0.2.7 and ::1, not for 127.0.0.1; use one of these as "
                "the address"));
}

TEST_F(TlsFailuresTest, AServerCertificateForAnotherNameNamesItsHosts) {
  Serve({.m_Names = "DNS:elsewhere.example,IP:127.0.0.1"});
  ExpectDistrust(FailureOfConnecting("localhost"),
                 HasSubstr("it is for elsewhere.example and 127.0.0.1, not for localhost; use one of these"));
}

TEST_F(TlsFailuresTest, WhatACertificateNamesIsShownEscapedAndNotWithoutEnd) {
  std::string names = "DNS:bell\x1b[2J,DNS:" + std::string(300, 'x');
  for (int i = 0; i < 20; ++i)
    names += ",DNS:more.example";
  Serve({.m_Names = names});
  const ConnectFailure failure = FailureOfConnecting();
  ExpectDistrust(failure, AllOf(HasSubstr("it is for bell\\x1b[2J, xxx"), HasSubstr(" and 14 more, not for"),
                                Not(HasSubstr("\x1b")), Not(HasSubstr(std::string(254, 'x')))));
}

TEST_F(TlsFailuresTest, AClientsCertificateDoesNotMakeAServer) {
  Serve({Purpose::k_Client});
  ExpectDistrust(FailureOfConnecting(),
                 AllOf(HasSubstr("it is not one of a Master ("), HasSubstr(k_CheckAddress)));
}

TEST_F(TlsFailuresTest, AClientOfAnotherAuthorityLearnsItForGood) {
  const TestCertificate other = MakeCertificate({Purpose::k_Authority}, nullptr);
  Serve({}, &other);
  Expect(FailureOfConnecting(), true,
         AllOf(testing::StartsWith("it does not accept this client's certificate ("),
               HasSubstr(
                   "): another authority issued it: either another Master answers there (check the address "
                   "and port), or this machine was away while the farm's authority was renewed (" +
                   std::string(k_NewCredentials)),
               HasSubstr(k_RunThere)));
}

TEST_F(TlsFailuresTest, AClientWhoseCertificateIsNotValidNowLearnsItForGood) {
  const CertificateWish k_Wishes[] = {
      {.m_Purpose = Purpose::k_Client, .m_ValidFor = -3600},
      {.m_Purpose = Purpose::k_Client, .m_ValidFrom = 3600, .m_ValidFor = 7200}};
  for (const CertificateWish& wish : k_Wishes) {
    m_Client = MakeCertificate(wish, &m_Authority);
    m_Client.WriteCertificate(m_Folder / "client.pem");
    m_Client.WriteKey(m_Folder / "client.key");
    Serve({});
    Expect(FailureOfConnecting(), true,
           AllOf(testing::StartsWith("it does not accept this client's certificate ("),
                 testing::ContainsRegex(
                     "\\): it is valid from 20..-..-.. ..:..:.. UTC to 20..-..-.. ..:..:.. UTC, "
                     "and by this machine's clock it is 20..-..-.. ..:..:.. UTC; "),
                 HasSubstr(k_NewCredentials),
                 HasSubstr(k_RunThere + std::string(", or compare the clocks of the two machines"))));
    m_Server.join();
  }
}

TEST_F(TlsFailuresTest, AServerWithoutTls13IsRefusedWithThatReason) {
  Serve({}, nullptr, TLS1_2_VERSION);
  Expect(FailureOfConnecting(), true, std::string("it does not speak TLS 1.3") + k_CheckAddress);
}

TEST_F(TlsFailuresTest, AServerThatSpeaksSomethingElseIsNamedSo) {
  ServePlain("220 mail.example ready\r\n");
  Expect(FailureOfConnecting(), false,
         AllOf(HasSubstr("it does not speak TLS 1.3 ("), testing::EndsWith(k_CheckAddress)));
}

TEST_F(TlsFailuresTest, AServerThatClosesAtOnceIsTriedAgain) {
  ServePlain("");
  Expect(FailureOfConnecting(), false,
         AllOf(HasSubstr(" during the TLS handshake"), testing::EndsWith(k_CheckAddress)));
}

} // namespace
} // namespace brenic
