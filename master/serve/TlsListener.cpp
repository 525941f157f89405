#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/ssl/error.hpp>
#include <fmt/core.h>
#include <openssl/ssl.h>

#include "net/Endpoint.h"
#include "net/TlsContext.h"
#include "serve/Admission.h"
#include "serve/Handshakes.h"
#include "serve/Listener.h"
#include "store/CertificateFields.h"

namespace brenic::master {

namespace {

namespace ssl = asio::ssl;
using asio::ip::tcp;

ssl::context ServerContext(const MasterRecord& master) {
  ssl::context context = MakeTlsContext(ssl::context::tls_server);
  for (const Authority& authority : master.m_Authorities)
    context.add_certificate_authority(asio::buffer(authority.m_Credential.m_Certificate));
  // The time is judged by the Master: its machine's clock may be wrong, and it says what to do.
  X509_VERIFY_PARAM_set_flags(SSL_CTX_get0_param(context.native_handle()), X509_V_FLAG_NO_CHECK_TIME);
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
              Now now, ReportStranger report, OnArrival onArrival)
      : m_Context(ServerContext(master)), m_FindClient(std::move(findClient)), m_Now(std::move(now)),
        m_Report(std::move(report)), m_OnArrival(std::move(onArrival)),
        m_Loop(io, [this](tcp::socket socket) { BeginHandshake(std::move(socket)); }),
        m_Handshakes(io, m_Context, [this](const Handshakes::Ended& ended) { EndHandshake(ended); }) {
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
    m_Handshakes.Close();
  }
  void Present(const MasterRecord& master) override { m_Context = ServerContext(master); }
  String Address() const override { return Text(m_Endpoint); }
  uint16_t Port() const override { return m_Endpoint.port(); }

private:
  void BeginHandshake(tcp::socket socket) {
    error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error)
      return;
    socket.set_option(tcp::no_delay(true), error);
    m_Handshakes.Begin(std::move(socket), remote, Text(remote));
    if (m_Handshakes.IsFull())
      m_Loop.Hold([this] { m_Handshakes.MakeRoom(); });
  }

  void EndHandshake(const Handshakes::Ended& ended) {
    m_Loop.GoOn();
    if (ended.m_Stream)
      Arrive(ended);
    else
      m_Report(fmt::format("The handshake with {} failed: {}", ended.m_Address, ended.m_Why.str()));
  }

  void Arrive(const Handshakes::Ended& ended) {
    Arrival arrival;
    arrival.m_Since = ended.m_Since;
    arrival.m_Stream = std::make_unique<AsioByteStream<TlsStream>>(ended.m_Stream);
    arrival.m_Peer.m_Address = ended.m_Address;
    const X509* certificate = SSL_get0_peer_certificate(ended.m_Stream->native_handle());
    arrival.m_Peer.m_Key = SerialOf(certificate);
    arrival.m_Client = m_FindClient(arrival.m_Peer.m_Key);
    if (auto& client = arrival.m_Client) {
      arrival.m_Peer.m_Name = client->m_Name;
      arrival.m_Peer.m_Role = client->m_Role;
      if (!client->m_Expires) {
        client->m_Issued = TimeOf(X509_get0_notBefore(certificate));
        client->m_Expires = TimeOf(X509_get0_notAfter(certificate));
        arrival.m_IsValidityLearnt = true;
      }
    }
    arrival.m_Rejection = WhyRefused(arrival.m_Peer.m_Key, arrival.m_Client, m_Now());
    m_OnArrival(std::move(arrival));
  }

  ssl::context m_Context;
  const FindClient m_FindClient;
  const Now m_Now;
  const ReportStranger m_Report;
  const OnArrival m_OnArrival;
  AcceptLoop<tcp::acceptor> m_Loop;
  Handshakes m_Handshakes;
  tcp::endpoint m_Endpoint;
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
                                    Listener::FindClient findClient, Listener::Now now,
                                    Listener::ReportStranger report, Listener::OnArrival onArrival) {
  return std::make_unique<TlsListener>(io, address, master, std::move(findClient), std::move(now),
                                       std::move(report), std::move(onArrival));
}

} // namespace brenic::master
