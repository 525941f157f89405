// A client that speaks frames over a blocking connection, and knows nothing else of the framework's client.
#pragma once

#include <memory>
#include <optional>

#include "wire/Contents.h"
#include "wire/Frames.h"

namespace brenic::master {

class TestClient {
public:
  /// Throw std::runtime_error when there is no connection.
  static TestClient Local(const std::string& socket);
  /// With ca.pem, client.pem and client.key of the folder. `now` (milliseconds) is the client's own clock.
  static TestClient Tls(uint16_t port, const std::string& credentials, const char* groups = nullptr,
                        std::optional<int64_t> now = {});

  TestClient(TestClient&&) noexcept;
  ~TestClient();

  void SendBytes(const std::string& bytes);
  void Send(const wire::Frame& frame) { SendBytes(wire::Encode(frame)); }
  void SendHello(uint32_t version = wire::k_ProtocolVersion, const std::string& digest = {});
  /// Says Hello and takes everything up to the end of the products, which is returned.
  std::vector<wire::Frame> Greet(const std::string& digest = {});

  /// Sends a message as a request.
  void Request(const Message& message, const std::string& basis = {});
  /// Sends it and returns its Answer; what comes before is dropped.
  wire::Answer Ask(const Message& message, const std::string& basis = {});
  wire::Answer NextAnswer();

  /// The next frame; none at the end of the connection, or after 30 s.
  std::optional<wire::Frame> Receive();
  /// The next frame of that kind; throws at the end.
  wire::Frame ReceiveOnly(wire::Frame::BodyCase kind);

  /// How many certificates the Master sent.
  int CertificatesSent() const;

  void Close();

private:
  struct Connection;
  explicit TestClient(std::unique_ptr<Connection> connection);
  std::unique_ptr<Connection> m_Connection;
};

/// A message with a fresh identifier that sets one global option.
shared_ptr<Message> SetOption(const String& name, const String& value);

} // namespace brenic::master
