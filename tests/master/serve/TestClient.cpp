#include "serve/TestClient.h"

#include <csignal>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <netinet/in.h>

#include "brenic/MessageFactory.h"
#include "brenic/SettingsMessages.h"

namespace brenic::master {

struct TestClient::Connection {
  int m_Socket = -1;
  SSL_CTX* m_Context = nullptr;
  SSL* m_Tls = nullptr;
  wire::FrameReader m_Reader;

  ~Connection() {
    SSL_free(m_Tls);
    SSL_CTX_free(m_Context);
    if (m_Socket >= 0)
      close(m_Socket);
  }
};

namespace {

void Require(bool done, const char* what) {
  if (!done)
    throw std::runtime_error(what);
}

template <typename Address>
int Dial(const Address& address) {
  const int socket = ::socket(address.family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval patience{30, 0};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (connect(socket, reinterpret_cast<const sockaddr*>(&address.address), sizeof address.address) == 0)
    return socket;
  close(socket);
  throw std::runtime_error("cannot connect");
}

struct LocalAddress {
  int family = AF_UNIX;
  sockaddr_un address{};
};
struct TcpAddress {
  int family = AF_INET;
  sockaddr_in address{};
};

} // namespace

TestClient::TestClient(std::unique_ptr<Connection> connection) : m_Connection(std::move(connection)) {
  m_Connection->m_Reader.SetLimit(wire::k_MaxFrame);
}
TestClient::TestClient(TestClient&&) noexcept = default;
TestClient::~TestClient() = default;

TestClient TestClient::Local(const std::string& socket) {
  LocalAddress address;
  address.address.sun_family = AF_UNIX;
  socket.copy(address.address.sun_path, sizeof address.address.sun_path - 1);
  auto connection = std::make_unique<Connection>();
  connection->m_Socket = Dial(address);
  return TestClient(std::move(connection));
}

TestClient TestClient::Tls(uint16_t port, const std::string& credentials, const char* groups,
                           std::optional<int64_t> now) {
  std::signal(SIGPIPE, SIG_IGN); // SSL_write has no flag for it
  TcpAddress address;
  address.address.sin_family = AF_INET;
  address.address.sin_port = htons(port);
  address.address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto connection = std::make_unique<Connection>();
  connection->m_Socket = Dial(address);
  SSL_CTX* context = connection->m_Context = SSL_CTX_new(TLS_client_method());
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
  Require(SSL_CTX_load_verify_file(context, (credentials + "/ca.pem").c_str()) == 1, "ca.pem");
  Require(SSL_CTX_use_certificate_chain_file(context, (credentials + "/client.pem").c_str()) == 1,
          "client.pem");
  Require(SSL_CTX_use_PrivateKey_file(context, (credentials + "/client.key").c_str(), SSL_FILETYPE_PEM) == 1,
          "client.key");
  if (groups)
    Require(SSL_CTX_set1_groups_list(context, groups) == 1, "groups");
  connection->m_Tls = SSL_new(context);
  if (now)
    X509_VERIFY_PARAM_set_time(SSL_get0_param(connection->m_Tls), *now / 1000);
  X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(connection->m_Tls), "127.0.0.1");
  SSL_set_fd(connection->m_Tls, connection->m_Socket);
  Require(SSL_connect(connection->m_Tls) == 1, "TLS handshake");
  return TestClient(std::move(connection));
}

int TestClient::CertificatesSent() const {
  return sk_X509_num(SSL_get_peer_cert_chain(m_Connection->m_Tls));
}

void TestClient::SendBytes(const std::string& bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const size_t rest = bytes.size() - sent;
    const ssize_t more = m_Connection->m_Tls
                             ? SSL_write(m_Connection->m_Tls, bytes.data() + sent, static_cast<int>(rest))
                             : send(m_Connection->m_Socket, bytes.data() + sent, rest, MSG_NOSIGNAL);
    if (more <= 0)
      return; // the peer has closed; receiving shows it
    sent += static_cast<size_t>(more);
  }
}

void TestClient::SendHello(uint32_t version, const std::string& digest) {
  wire::Frame frame;
  wire::Hello& hello = *frame.mutable_hello();
  hello.set_protocol_version(version);
  hello.set_client_id(wire::IdentifierBytes(UID(true)));
  hello.set_kind(3);
  hello.set_name("test");
  hello.set_products_digest(digest);
  Send(frame);
}

std::vector<wire::Frame> TestClient::Greet(const std::string& digest) {
  SendHello(wire::k_ProtocolVersion, digest);
  std::vector<wire::Frame> frames;
  while (auto frame = Receive()) {
    frames.push_back(*frame);
    if (frame->message().has_end_products() || frame->has_goodbye())
      break;
  }
  return frames;
}

void TestClient::Request(const Message& message, const std::string& basis) {
  wire::Frame frame;
  wire::ToWire(message, *frame.mutable_message());
  frame.mutable_message()->set_basis(basis);
  Send(frame);
}

wire::Answer TestClient::Ask(const Message& message, const std::string& basis) {
  Request(message, basis);
  return NextAnswer();
}

wire::Answer TestClient::NextAnswer() {
  return ReceiveOnly(wire::Frame::kAnswer).answer();
}

std::optional<wire::Frame> TestClient::Receive() {
  for (;;) {
    if (auto frame = m_Connection->m_Reader.Next())
      return frame;
    std::array<char, 65536> buffer;
    const ssize_t got = m_Connection->m_Tls
                            ? SSL_read(m_Connection->m_Tls, buffer.data(), static_cast<int>(buffer.size()))
                            : recv(m_Connection->m_Socket, buffer.data(), buffer.size(), 0);
    if (got <= 0)
      return std::nullopt;
    m_Connection->m_Reader.Feed({buffer.data(), static_cast<size_t>(got)});
  }
}

wire::Frame TestClient::ReceiveOnly(wire::Frame::BodyCase kind) {
  while (auto frame = Receive()) {
    if (frame->body_case() == kind)
      return *frame;
  }
  throw std::runtime_error("the connection ended where a frame was expected");
}

void TestClient::Close() {
  m_Connection = std::make_unique<Connection>();
}

shared_ptr<Message> SetOption(const String& name, const String& value) {
  const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
  message->m_Section = "Distribution";
  message->m_Options[name] = value;
  return message;
}

} // namespace brenic::master
