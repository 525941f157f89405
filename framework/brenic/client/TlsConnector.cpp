#include <algorithm>

#include <boost/asio/ssl/stream.hpp>
#include <fmt/core.h>
#include <openssl/ssl.h>

#include "client/Connectors.h"
#include "client/Dialer.h"
#include "client/Resolver.h"
#include "client/TlsFailures.h"

namespace brenic {

namespace {

namespace ssl = asio::ssl;
using asio::ip::tcp;
using TlsStream = ssl::stream<tcp::socket>;

/// What the Master's certificate has to be for: the host without an IPv6 address's network interface and
/// without the dot that ends a complete name.
String ExpectedHost(const Endpoint& endpoint) {
  std::string host = endpoint.m_Host.str();
  host.erase(std::min(host.find('%'), host.size()));
  if (host.ends_with('.'))
    host.pop_back();
  return host;
}

String ExplainDialing(const error_code& error) {
  if (error == asio::error::connection_refused)
    return fmt::format("{}: nothing listens there; check the address and port, and that the Master runs",
                       error.message());
  return fmt::format("{}; check the address and port, and this machine's network", error.message());
}

class TlsConnector : public Connector {
public:
  TlsConnector(asio::io_context& io, const Endpoint& endpoint, ssl::context context)
      : m_Io(io), m_Endpoint(endpoint), m_Host(ExpectedHost(endpoint)), m_Context(std::move(context)),
        m_Dialer(io) {}

  ~TlsConnector() override { TlsConnector::Cancel(); }

  String Address() const override { return m_Endpoint.ToString(); }

  void Connect(Done done) override {
    m_Lookup.Begin(m_Io, m_Endpoint, [this, done](const Lookup::Found& addresses) {
      if (!addresses)
        return done(ConnectFailure{addresses.Reason(), false});
      std::vector<tcp::endpoint> order = Interleaved(*addresses);
      std::stable_partition(order.begin(), order.end(),
                            [this](const auto& each) { return !IsSuspect(each); });
      Dial(std::move(order), done);
    });
  }

  void Cancel() override {
    m_Lookup.Abandon();
    m_Dialer.Cancel();
    if (!m_Stream)
      return;
    error_code ignored;
    m_Stream->lowest_layer().close(ignored);
    m_Stream.reset();
  }

  ConnectFailure Classify(const error_code& error) const override { return ExplainRefusal(error, Own()); }

private:
  bool IsSuspect(const tcp::endpoint& address) const {
    return std::find(m_Suspects.begin(), m_Suspects.end(), address) != m_Suspects.end();
  }

  void Dial(std::vector<tcp::endpoint> addresses, const Done& done) {
    m_Dialer.Begin(addresses, [this, addresses, done](const error_code& error, tcp::socket socket) mutable {
      error_code unknown;
      const tcp::endpoint connected = error ? tcp::endpoint() : socket.remote_endpoint(unknown);
      if (error || unknown)
        return done(ConnectFailure{ExplainDialing(error ? error : unknown), false});
      // Until it has proven to be the Master's: one that is silent behind its TCP is not to come first again.
      if (!IsSuspect(connected))
        m_Suspects.push_back(connected);
      std::erase(addresses, connected);
      Handshake(std::move(socket), [this, rest = std::move(addresses), done](ConnectResult result) {
        const auto* const failure = std::get_if<ConnectFailure>(&result);
        if (failure && !failure->m_Final && !rest.empty())
          return Dial(rest, done);
        if (!failure)
          m_Suspects.clear();
        done(std::move(result));
      });
    });
  }

  // The handler holds the stream, so that its operations can complete after Cancel; that of a cancelled
  // attempt finds that it is not the current one any more.
  void Handshake(tcp::socket socket, const Done& done) {
    const auto stream = m_Stream = std::make_shared<TlsStream>(std::move(socket), m_Context);
    error_code ignored;
    stream->lowest_layer().set_option(tcp::no_delay(true), ignored);
    Expect(m_Host, stream->native_handle());
    const auto distrust = std::make_shared<String>();
    stream->set_verify_callback(
        [distrust, host = m_Host, own = Own()](bool accepted, ssl::verify_context& verification) {
          if (!accepted)
            *distrust = WhyNotTrusted(verification.native_handle(), host, own);
          return accepted;
        });
    stream->async_handshake(
        ssl::stream_base::client, [this, stream, distrust, done](const error_code& error) {
          if (stream.use_count() == 1 || error == asio::error::operation_aborted)
            return;
          if (error)
            return done(distrust->empty() ? ExplainHandshake(error, Own()) : ConnectFailure{*distrust, true});
          m_Stream.reset();
          done(std::make_unique<AsioByteStream<TlsStream>>(stream));
        });
  }

  static void Expect(const String& host, SSL* tls) {
    X509_VERIFY_PARAM* expected = SSL_get0_param(tls);
    if (X509_VERIFY_PARAM_set1_ip_asc(expected, host.c_str()) == 1)
      return;
    // A dot at the end, of the name or of that in the certificate, makes no difference.
    const String name = host.str().ends_with('.') ? String(host.str().substr(0, host.size() - 1)) : host;
    X509_VERIFY_PARAM_set1_host(expected, name.c_str(), name.size());
    X509_VERIFY_PARAM_add1_host(expected, (name + ".").c_str(), name.size() + 1);
    SSL_set_tlsext_host_name(tls, name.c_str());
  }

  const X509* Own() const { return SSL_CTX_get0_certificate(m_ContextHandle); }

  asio::io_context& m_Io;
  const Endpoint m_Endpoint;
  const String m_Host;
  ssl::context m_Context;
  SSL_CTX* const m_ContextHandle = m_Context.native_handle();
  Lookup m_Lookup;
  Dialer m_Dialer;
  std::vector<tcp::endpoint> m_Suspects; // where something accepted connections and was no Master
  std::shared_ptr<TlsStream> m_Stream;   // of the handshake under way
};

} // namespace

std::unique_ptr<Connector> MakeTlsConnector(asio::io_context& io, const Endpoint& endpoint,
                                            ssl::context context) {
  return std::make_unique<TlsConnector>(io, endpoint, std::move(context));
}

} // namespace brenic
