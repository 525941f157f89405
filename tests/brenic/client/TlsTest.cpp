#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <gmock/gmock.h>

#include "TempFolder.h"
#include "TestCertificates.h"
#include "client/ClientContext.h"
#include "client/Connectors.h"
#include "net/TlsContext.h"

namespace brenic {
namespace {

namespace ssl = asio::ssl;
using asio::ip::tcp;
using testing::HasSubstr;

/// A client's TlsConnector against a server on loopback in a thread of its own, which takes one connection.
class TlsTest : public testing::Test {
protected:
  TlsTest() {
    m_Authority = MakeCertificate({Purpose::k_Authority}, nullptr);
    m_Client = MakeCertificate({Purpose::k_Client}, &m_Authority);
    m_Authority.WriteCertificate(m_Folder / "ca.pem");
    m_Client.WriteCertificate(m_Folder / "client.pem");
    m_Client.WriteKey(m_Folder / "client.key");
  }
  ~TlsTest() override {
    if (m_Server.joinable())
      m_Server.join();
  }

  Credentials Files() {
    return {Path(m_Folder / "ca.pem"), Path(m_Folder / "client.pem"), Path(m_Folder / "client.key")};
  }
  /// The server greets with one byte once the handshake is through.
  void Serve(const CertificateWish& wish, const TestCertificate* trusted = nullptr,
             int version = TLS1_3_VERSION) {
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    const TestCertificate certificate = MakeCertificate(wish, &m_Authority);
    SSL_CTX* native = context->native_handle();
    SSL_CTX_set_max_proto_version(native, version);
    SSL_CTX_use_certificate(native, certificate.m_Certificate.get());
    SSL_CTX_use_PrivateKey(native, certificate.m_Key.get());
    X509_STORE_add_cert(SSL_CTX_get_cert_store(native),
                        (trusted ? *trusted : m_Authority).m_Certificate.get());
    context->set_verify_mode(ssl::verify_peer | ssl::verify_fail_if_no_peer_cert);
    Listen([context](asio::io_context& io, tcp::acceptor& acceptor) {
      auto stream = std::make_shared<ssl::stream<tcp::socket>>(io, *context);
      acceptor.async_accept(stream->lowest_layer(), [stream, context](const error_code& refused) {
        if (refused)
          return;
        stream->async_handshake(ssl::stream_base::server, [stream, context](const error_code& failed) {
          if (failed)
            return;
          asio::async_write(*stream, asio::buffer("!", 1), [stream, context](const error_code&, size_t) {
            auto rest = std::make_shared<char>();
            stream->async_read_some(asio::buffer(rest.get(), 1),
                                    [stream, context, rest](const error_code&, size_t) {});
          });
        });
      });
    });
  }
  void ServePlain(const std::string& bytes) {
    Listen([bytes](asio::io_context& io, tcp::acceptor& acceptor) {
      auto socket = std::make_shared<tcp::socket>(io);
      acceptor.async_accept(*socket, [socket, bytes](const error_code& refused) {
        error_code ignored;
        if (!refused)
          asio::write(*socket, asio::buffer(bytes), ignored);
      });
    });
  }
  template <typename Begin>
  void Listen(Begin begin) {
    auto io = std::make_shared<asio::io_context>();
    auto acceptor = std::make_shared<tcp::acceptor>(*io, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    m_Port = acceptor->local_endpoint().port();
    begin(*io, *acceptor);
    m_Server = std::thread([io, acceptor] { io->run_for(std::chrono::seconds(30)); });
  }

  /// Why the connection fails, at the latest when its first byte is read; no value when it does not.
  std::optional<ConnectFailure> Connect(const char* host) {
    rlib::Result<ssl::context> context = MakeClientContext(Files());
    EXPECT_TRUE(context) << context.Reason();
    if (!context)
      return ConnectFailure{context.Reason(), false};
    asio::io_context io;
    const auto work = asio::make_work_guard(io); // a lookup runs on a thread of its own
    Endpoint endpoint;
    endpoint.m_Host = host;
    endpoint.m_Port = m_Port;
    const auto connector = MakeTlsConnector(io, endpoint, std::move(*context));
    bool done = false;
    std::optional<ConnectFailure> failure;
    std::unique_ptr<ByteStream> connected;
    char byte = 0;
    connector->Connect([&](ConnectResult result) {
      if (const auto* refused = std::get_if<ConnectFailure>(&result)) {
        failure = *refused;
        done = true;
        return;
      }
      connected = std::move(std::get<std::unique_ptr<ByteStream>>(result));
      connected->ReadSome(asio::buffer(&byte, 1), [&](const error_code& error, size_t) {
        if (error)
          failure = connector->Classify(error);
        done = true;
      });
    });
    while (!done && io.run_one_for(std::chrono::seconds(30)) > 0) {
    }
    EXPECT_TRUE(done);
    connected.reset();
    io.poll();
    return failure;
  }
  void ExpectConnection(const char* host = "127.0.0.1") {
    const std::optional<ConnectFailure> failure = Connect(host);
    EXPECT_FALSE(failure) << failure->m_Text;
  }
  /// Why the connection fails, which it has to.
  ConnectFailure FailureOfConnecting(const char* host = "127.0.0.1") {
    const std::optional<ConnectFailure> failure = Connect(host);
    EXPECT_TRUE(failure);
    return failure.value_or(ConnectFailure{"there is a connection", false});
  }

  TempFolder m_Folder;
  TestCertificate m_Authority, m_Client;
  std::thread m_Server;
  uint16_t m_Port = 0;
};

TEST_F(TlsTest, BothSidesWithGoodCertificatesConnect) {
  Serve({});
  ExpectConnection();
}

TEST_F(TlsTest, AHostNameIsResolvedAndChecked) {
  Serve({});
  ExpectConnection("localhost");
}

TEST_F(TlsTest, ANameThatCannotBeResolvedIsTriedAgain) {
  const ConnectFailure failure = FailureOfConnecting("no-such-host.invalid");
  EXPECT_THAT(failure.m_Text.str(), HasSubstr("the name cannot be resolved: "));
  EXPECT_FALSE(failure.m_Final);
}

TEST_F(TlsTest, ARefusedConnectionIsTriedAgain) {
  {
    asio::io_context io;
    m_Port = tcp::acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)).local_endpoint().port();
  }
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_EQ(failure.m_Text, "Connection refused");
  EXPECT_FALSE(failure.m_Final);
}

TEST_F(TlsTest, AServerOfAnotherAuthorityIsNotAccepted) {
  Serve({});
  MakeCertificate({Purpose::k_Authority}, nullptr).WriteCertificate(m_Folder / "ca.pem");
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_EQ(failure.m_Text, "its certificate is not accepted: self-signed certificate in certificate chain");
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AnExpiredServerCertificateIsNotAccepted) {
  Serve({.m_ValidFor = -3600});
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_EQ(failure.m_Text, "its certificate is not accepted: certificate has expired");
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AServerCertificateForAnotherHostIsNotAccepted) {
  Serve({.m_Names = "DNS:elsewhere.example"});
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_EQ(failure.m_Text, "its certificate is not accepted: IP address mismatch");
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AServerCertificateForAnotherNameIsNotAccepted) {
  Serve({.m_Names = "DNS:elsewhere.example,IP:127.0.0.1"});
  const ConnectFailure failure = FailureOfConnecting("localhost");
  EXPECT_EQ(failure.m_Text, "its certificate is not accepted: hostname mismatch");
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AClientsCertificateDoesNotMakeAServer) {
  Serve({Purpose::k_Client});
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_THAT(failure.m_Text.str(), HasSubstr("its certificate is not accepted: "));
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AClientThatTheServerDoesNotAcceptLearnsItForGood) {
  const TestCertificate other = MakeCertificate({Purpose::k_Authority}, nullptr);
  Serve({}, &other);
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_THAT(failure.m_Text.str(), HasSubstr("it does not accept this client's certificate ("));
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AServerWithoutTls13IsRefusedWithThatReason) {
  Serve({}, nullptr, TLS1_2_VERSION);
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_EQ(failure.m_Text, "it does not speak TLS 1.3");
  EXPECT_TRUE(failure.m_Final);
}

TEST_F(TlsTest, AServerThatSpeaksSomethingElseIsNamedSo) {
  ServePlain("220 mail.example ready\r\n");
  EXPECT_THAT(FailureOfConnecting().m_Text.str(), HasSubstr("it does not speak TLS 1.3 ("));
}

TEST_F(TlsTest, AServerThatClosesAtOnceIsTriedAgain) {
  ServePlain("");
  const ConnectFailure failure = FailureOfConnecting();
  EXPECT_NE(failure.m_Text, "");
  EXPECT_FALSE(failure.m_Final);
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
                             HasSubstr("does not belong to the certificate")));
}

TEST_F(CredentialsTest, MissingFilesAreNamed) {
  const std::pair<const char*, const char*> k_Files[] = {
      {"ca.pem", "certificate authority"}, {"client.pem", "certificate"}, {"client.key", "private key"}};
  for (const auto& [file, what] : k_Files) {
    std::filesystem::rename(m_Folder / file, m_Folder / "away");
    EXPECT_EQ(Problem(), std::string("Cannot read the ") + what + " '" + (m_Folder / file) +
                             "': No such file or directory");
    std::filesystem::rename(m_Folder / "away", m_Folder / file);
  }
}

TEST_F(CredentialsTest, FilesWithOtherContentsAreNamed) {
  for (const char* file : {"ca.pem", "client.pem", "client.key"}) {
    const std::string before = ReadTextFile(m_Folder / file);
    WriteTextFile(m_Folder / file, "nonsense\n");
    EXPECT_THAT(Problem(), testing::AllOf(HasSubstr(m_Folder / file), HasSubstr("cannot be used: ")));
    WriteTextFile(m_Folder / file, before);
  }
}

TEST_F(CredentialsTest, AFolderInPlaceOfAFileIsNamed) {
  std::filesystem::remove(m_Folder / "ca.pem");
  std::filesystem::create_directory(m_Folder / "ca.pem");
  EXPECT_EQ(Problem(),
            "Cannot read the certificate authority '" + (m_Folder / "ca.pem") + "': it is no regular file");
}

TEST_F(CredentialsTest, AMissingEntryOfTheConfigurationIsNamed) {
  const auto context = MakeClientContext({});
  ASSERT_FALSE(context);
  EXPECT_EQ(context.Reason(), "The configuration names no certificate authority");
}

} // namespace
} // namespace brenic
