// A client's TlsConnector against a server on loopback.
#pragma once

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

/// The server runs in a thread of its own and takes one connection.
class TlsTest : public testing::Test {
protected:
  using tcp = asio::ip::tcp;

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
    auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
    const TestCertificate certificate = MakeCertificate(wish, &m_Authority);
    SSL_CTX* native = context->native_handle();
    SSL_CTX_set_max_proto_version(native, version);
    SSL_CTX_use_certificate(native, certificate.m_Certificate.get());
    SSL_CTX_use_PrivateKey(native, certificate.m_Key.get());
    X509_STORE_add_cert(SSL_CTX_get_cert_store(native),
                        (trusted ? *trusted : m_Authority).m_Certificate.get());
    context->set_verify_mode(asio::ssl::verify_peer | asio::ssl::verify_fail_if_no_peer_cert);
    Listen([context](asio::io_context& io, tcp::acceptor& acceptor) {
      auto stream = std::make_shared<asio::ssl::stream<tcp::socket>>(io, *context);
      acceptor.async_accept(stream->lowest_layer(), [stream, context](const error_code& refused) {
        if (refused)
          return;
        stream->async_handshake(asio::ssl::stream_base::server, [stream, context](const error_code& failed) {
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
    rlib::Result<asio::ssl::context> context = MakeClientContext(Files());
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

} // namespace brenic
