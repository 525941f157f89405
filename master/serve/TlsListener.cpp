#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <fmt/core.h>
#include <openssl/ssl.h>

#include "net/Endpoint.h"
#include "net/TlsContext.h"
#include "serve/Listener.h"
#include "serve/Session.h"
#include "store/CertificateSerial.h"

namespace brenic::master {

namespace {

namespace ssl = asio::ssl;
using asio::ip::tcp;
using TlsStream = ssl::stream<tcp::socket>;

constexpr size_t k_MaxHandshakes = 512; // at the same time

ssl::context ServerContext(const MasterRecord& master) {
  ssl::context context = MakeTlsContext(ssl::context::tls_server);
  context.add_certificate_authority(asio::buffer(master.m_Authority.m_Certificate));
  context.use_certificate_chain(asio::buffer(master.m_Server.m_Certificate));
  context.use_private_key(asio::buffer(master.m_Server.m_Key), ssl::context::pem);
  return context;
}

/// "ADDRESS:PORT", the address numeric.
tcp::endpoint ParseListen(const String& text) {
  const std::string& address = text.str();
  const size_t colon = address.rfind(':');
  const std::optional<uint16_t> port =
      colon == std::string::npos ? std::nullopt : ParsePort(address.substr(colon + 1), 0);
  if (!port)
    throw new Exception("--listen wants ADDRESS:PORT, not '" + text + "'");
  std::string host = address.substr(0, colon);
  if (host.size() > 1 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  error_code error;
  const auto parsed = asio::ip::make_address(host, error);
  if (error)
    throw new Exception("--listen wants a numeric address, not '" + String(host) + "'");
  return {parsed, *port};
}

std::string Text(const tcp::endpoint& endpoint) {
  const bool v6 = endpoint.address().is_v6();
  return fmt::format("{}{}{}:{}", v6 ? "[" : "", endpoint.address().to_string(), v6 ? "]" : "",
                     endpoint.port());
}

class TlsListener : public Listener {
public:
  TlsListener(asio::io_context& io, const String& address, const MasterRecord& master, FindClient findClient,
              ReportStranger report, OnArrival onArrival)
      : m_Io(io), m_Context(ServerContext(master)), m_FindClient(std::move(findClient)),
        m_Report(std::move(report)), m_OnArrival(std::move(onArrival)),
        m_Loop(io, [this](tcp::socket socket) { Handshake(std::move(socket)); }) {
    const tcp::endpoint endpoint = ParseListen(address);
    tcp::acceptor& acceptor = m_Loop.Get();
    try {
      acceptor.open(endpoint.protocol());
      acceptor.set_option(tcp::acceptor::reuse_address(true));
      if (endpoint.address().is_v6())
        acceptor.set_option(asio::ip::v6_only(false));
      acceptor.bind(endpoint);
      acceptor.listen();
    } catch (const boost::system::system_error& error) {
      throw new Exception(fmt::format("Cannot listen on {}: {}", Text(endpoint), error.code().message()));
    }
    m_Endpoint = acceptor.local_endpoint();
    m_Loop.Accept();
  }

  void Close() override {
    m_Loop.Close();
    for (const auto& stream : m_Handshakes) {
      error_code ignored;
      stream->lowest_layer().close(ignored);
    }
    m_Closed = true;
  }
  String Address() const override { return Text(m_Endpoint); }
  uint16_t Port() const override { return m_Endpoint.port(); }

private:
  // The socket's own lifetime, not the listener's, bounds what happens to it: handlers of a closed listener
  // are run before it is destroyed.
  void Handshake(tcp::socket socket) {
    error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error || m_Handshakes.size() >= k_MaxHandshakes)
      return;
    socket.set_option(tcp::no_delay(true), error);
    const auto stream = std::make_shared<TlsStream>(std::move(socket), m_Context);
    const auto timer = std::make_shared<asio::steady_timer>(m_Io, Session::k_HelloWithin);
    const std::string address = Text(remote);
    const auto since = std::chrono::steady_clock::now();
    m_Handshakes.insert(stream);
    timer->async_wait([stream](const error_code& cancelled) {
      error_code ignored;
      if (!cancelled)
        stream->lowest_layer().close(ignored);
    });
    stream->async_handshake(
        ssl::stream_base::server, [this, stream, timer, address, since](const error_code& failed) {
          timer->cancel();
          m_Handshakes.erase(stream);
          if (m_Closed)
            return;
          if (failed)
            m_Report(fmt::format("The handshake with {} failed: {}", address, Explain(failed).str()));
          else
            Arrive(stream, address, since);
        });
  }

  void Arrive(const std::shared_ptr<TlsStream>& stream, const std::string& address,
              std::chrono::steady_clock::time_point since) {
    Arrival arrival;
    arrival.m_Since = since;
    arrival.m_Stream = std::make_unique<AsioByteStream<TlsStream>>(stream);
    arrival.m_Peer.m_Address = address;
    const X509* certificate = SSL_get0_peer_certificate(stream->native_handle());
    arrival.m_Peer.m_Key = SerialOf(certificate);
    if (const auto client = m_FindClient(arrival.m_Peer.m_Key)) {
      arrival.m_Peer.m_Name = client->m_Name;
      arrival.m_Peer.m_Role = client->m_Role;
    } else {
      arrival.m_Rejection =
          String(fmt::format("this Master does not know the certificate with the serial number {}; "
                             "ask its administrator for new credentials",
                             arrival.m_Peer.m_Key));
    }
    m_OnArrival(std::move(arrival));
  }

  asio::io_context& m_Io;
  ssl::context m_Context;
  const FindClient m_FindClient;
  const ReportStranger m_Report;
  const OnArrival m_OnArrival;
  AcceptLoop<tcp::acceptor> m_Loop;
  tcp::endpoint m_Endpoint;
  std::set<std::shared_ptr<TlsStream>> m_Handshakes; // that are not done
  bool m_Closed = false;
};

} // namespace

bool HasIPv6() {
  asio::io_context io;
  error_code error;
  tcp::socket(io).open(tcp::v6(), error);
  return !error;
}

String DefaultListen(bool hasIPv6) {
  return fmt::format("{}:{}", hasIPv6 ? "[::]" : "0.0.0.0", k_DefaultPort);
}

void CheckListen(const String& address) {
  (void)ParseListen(address);
}

std::unique_ptr<Listener> ListenTls(asio::io_context& io, const String& address, const MasterRecord& master,
                                    Listener::FindClient findClient, Listener::ReportStranger report,
                                    Listener::OnArrival onArrival) {
  return std::make_unique<TlsListener>(io, address, master, std::move(findClient), std::move(report),
                                       std::move(onArrival));
}

} // namespace brenic::master
