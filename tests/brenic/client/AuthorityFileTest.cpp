// The file of the authorities that a client trusts: one certificate, or several while a farm's authority is
// renewed.
#include "TlsFixture.h"

namespace brenic {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class AuthorityFileTest : public TlsTest {
protected:
  AuthorityFileTest() {
    m_Own = ReadTextFile(m_Folder / "ca.pem");
    const std::string path = m_Folder / "other.pem";
    m_Next.WriteCertificate(path);
    m_Other = ReadTextFile(path);
  }

  void Write(const std::string& text) { WriteTextFile(m_Folder / "ca.pem", text); }
  /// A Master of the first authority is believed with this file.
  void ExpectTrust(const std::string& text) {
    Write(text);
    Serve({});
    ExpectConnection();
    m_Server.join();
  }
  void ExpectRefusal(const std::string& text, const testing::Matcher<std::string>& reason) {
    Write(text);
    const auto context = MakeClientContext(Files());
    ASSERT_FALSE(context) << text;
    EXPECT_THAT(context.Reason().str(),
                AllOf(HasSubstr("The certificate authority '" + (m_Folder / "ca.pem") + "' cannot be used: "),
                      reason, testing::EndsWith("; take the file as 'brenic-master client' made it")));
  }
  static std::string WithCarriageReturns(std::string text) {
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
      text.insert(at, "\r");
    return text;
  }
  static std::string Replaced(std::string text, const std::string& what, const std::string& with) {
    return text.replace(text.find(what), what.size(), with);
  }

  TestCertificate m_Next = MakeCertificate({Purpose::k_Authority}, nullptr);
  std::string m_Own, m_Other; // in PEM form
};

TEST_F(AuthorityFileTest, AMasterOfAnyOfItsAuthoritiesIsBelieved) {
  ExpectTrust(m_Own + m_Other);
  ExpectTrust(m_Other + m_Own);
}

TEST_F(AuthorityFileTest, AnAuthorityThatHasEndedDoesNotDisturbTheOthers) {
  m_Next = MakeCertificate({.m_Purpose = Purpose::k_Authority, .m_ValidFor = -3600}, nullptr);
  m_Next.WriteCertificate(m_Folder / "other.pem");
  m_Other = ReadTextFile(m_Folder / "other.pem");
  ExpectTrust(m_Own + m_Other);
  ExpectTrust(m_Other + m_Own);
}

TEST_F(AuthorityFileTest, TheSameAuthorityMayStandThereTwice) {
  ExpectTrust(m_Own + m_Own);
}

TEST_F(AuthorityFileTest, WordsBetweenTheCertificatesAreNoMatter) {
  ExpectTrust("# the farm's CERTIFICATE authority\n" + m_Other + "\n  subject: the next\n\n" + m_Own + "end");
}

TEST_F(AuthorityFileTest, LinesMayEndAsOnWindows) {
  ExpectTrust(WithCarriageReturns(m_Other + "# and\n" + m_Own));
}

TEST_F(AuthorityFileTest, ADamagedCertificateBehindAGoodOneIsNotPassedOver) {
  const std::string flipped = Replaced(m_Other, "MII", "MIA");
  const std::string foreign = Replaced(m_Other, "MII", "M*I");
  for (const std::string& damaged :
       {flipped, foreign, m_Other.substr(0, m_Other.size() / 2), Replaced(m_Other, "-----BEGIN", "----BEGIN"),
        Replaced(m_Other, "-----END", "----END"), Replaced(m_Other, "END CERT", "END KERT"),
        Replaced(m_Other, "BEGIN CERTIFICATE", "BEGIN CERTIFIKATE"),
        Replaced(m_Other, "-----BEGIN", " -----BEGIN")}) {
    ExpectRefusal(m_Own + damaged, HasSubstr("its certificate 2 is damaged"));
    ExpectRefusal(m_Own + damaged + m_Own, HasSubstr("its certificate 2 is damaged"));
    ExpectRefusal(damaged + m_Own, HasSubstr("its certificate 1 is damaged"));
  }
}

TEST_F(AuthorityFileTest, ACertificateThatCanBeReadAndIsNotAsItWasSignedIsDamaged) {
  char& changed = m_Other[m_Other.find("\n-----END") - 12]; // in the signature
  changed = changed == 'A' ? 'B' : 'A';
  ExpectRefusal(m_Own + m_Other, HasSubstr("its certificate 2 is damaged (its signature is wrong)"));
}

TEST_F(AuthorityFileTest, AFileWithoutACertificateIsRefused) {
  ExpectRefusal("", HasSubstr("it holds no certificate"));
  ExpectRefusal("nonsense\n", HasSubstr("it holds no certificate"));
  ExpectRefusal(ReadTextFile(m_Folder / "client.key"), HasSubstr("it holds no certificate"));
}

} // namespace
} // namespace brenic
