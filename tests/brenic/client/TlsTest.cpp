#include "TlsFixture.h"

#include <openssl/pem.h>

namespace brenic {
namespace {

using testing::HasSubstr;

TEST_F(TlsTest, BothSidesWithGoodCertificatesConnect) {
  Serve({});
  ExpectConnection();
}

TEST_F(TlsTest, AHostNameIsResolvedAndChecked) {
  Serve({});
  ExpectConnection("localhost");
}

TEST_F(TlsTest, ADotAtTheEndOfAHostNameMakesNoDifference) {
  Serve({Purpose::k_Server, "DNS:LOCALHOST."});
  ExpectConnection("localhost");
}

// --- the client's own files ---

class CredentialsTest : public TlsTest {
protected:
  /// Why there is no context; empty when there is one.
  std::string Problem() {
    const auto context = MakeClientContext(Files());
    return context ? "" : context.Reason().str();
  }
};

TEST_F(CredentialsTest, GoodFilesAreTaken) {
  EXPECT_EQ(Problem(), "");
}

TEST_F(CredentialsTest, AKeyThatOthersCanReadIsRefused) {
  for (const unsigned mode : {0640u, 0604u, 0620u, 0610u}) {
    m_Client.WriteKey(m_Folder / "client.key", mode);
    const std::string key = m_Folder / "client.key";
    EXPECT_EQ(Problem(), "The private key '" + key + "' can be read by others; run: chmod 600 '" + key + "'");
  }
}

TEST_F(CredentialsTest, AKeyOfAnotherCertificateIsNamed) {
  MakeCertificate({Purpose::k_Client}, &m_Authority).WriteKey(m_Folder / "client.key");
  EXPECT_THAT(Problem(),
              testing::AllOf(HasSubstr(m_Folder / "client.key"), HasSubstr(m_Folder / "client.pem"),
                             HasSubstr("does not belong to the certificate"),
                             HasSubstr("; take both from one folder that 'brenic-master client' made")));
}

TEST_F(CredentialsTest, MissingFilesAreNamed) {
  const std::pair<const char*, const char*> k_Files[] = {
      {"ca.pem", "certificate authority"}, {"client.pem", "certificate"}, {"client.key", "private key"}};
  for (const auto& [file, what] : k_Files) {
    std::filesystem::rename(m_Folder / file, m_Folder / "away");
    EXPECT_EQ(Problem(),
              std::string("Cannot read the ") + what + " '" + (m_Folder / file) +
                  "': No such file or directory; correct its path in brenic.conf, or make it readable");
    std::filesystem::rename(m_Folder / "away", m_Folder / file);
  }
}

TEST_F(CredentialsTest, FilesWithOtherContentsAreNamed) {
  for (const char* file : {"ca.pem", "client.pem", "client.key"}) {
    const std::string before = ReadTextFile(m_Folder / file);
    WriteTextFile(m_Folder / file, "nonsense\n");
    EXPECT_THAT(Problem(), testing::AllOf(HasSubstr(m_Folder / file), HasSubstr("cannot be used: "),
                                          HasSubstr("take the file as 'brenic-master client' made it")));
    WriteTextFile(m_Folder / file, before);
  }
}

TEST_F(CredentialsTest, AFolderInPlaceOfAFileIsNamed) {
  std::filesystem::remove(m_Folder / "ca.pem");
  std::filesystem::create_directory(m_Folder / "ca.pem");
  EXPECT_EQ(Problem(), "Cannot read the certificate authority '" + (m_Folder / "ca.pem") +
                           "': it is no regular file; correct its path in brenic.conf, or make it readable");
}

TEST_F(CredentialsTest, AKeyWithAPassphraseIsNotUsed) {
  std::FILE* file = std::fopen((m_Folder / "client.key").c_str(), "wb");
  ASSERT_TRUE(file);
  char passphrase[] = "secret";
  PEM_write_PrivateKey(file, m_Client.m_Key.get(), EVP_aes_128_cbc(), nullptr, 0, nullptr, passphrase);
  std::fclose(file);
  EXPECT_THAT(Problem(), testing::AllOf(HasSubstr("The private key '" + (m_Folder / "client.key")),
                                        HasSubstr("it must have no passphrase")));
}

TEST_F(CredentialsTest, AMissingEntryOfTheConfigurationIsNamed) {
  Credentials credentials;
  const auto problem = [&] {
    const auto context = MakeClientContext(credentials);
    return context ? "" : context.Reason().str();
  };
  EXPECT_EQ(problem(),
            "The configuration names no certificate authority; write 'CA = FILE' into its section [Client]");
  credentials.m_Authority = Path(m_Folder / "ca.pem");
  EXPECT_EQ(problem(),
            "The configuration names no certificate; write 'Certificate = FILE' into its section [Client]");
  credentials.m_Certificate = Path(m_Folder / "client.pem");
  EXPECT_EQ(problem(),
            "The configuration names no private key; write 'Key = FILE' into its section [Client]");
}

} // namespace
} // namespace brenic
