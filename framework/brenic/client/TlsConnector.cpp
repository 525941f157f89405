#include <algorithm>
#include <optional>

#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <fmt/core.h>
#include <openssl/ssl.h>

#include "client/Connectors.h"
#include "client/Resolver.h"

namespace brenic {

namespace {

namespace ssl = asio::ssl;
using TlsStream = ssl::stream<asio::ip::tcp::socket>;

bool IsTls(const error_code& error) {
  return error.category() == asio::error::get_ssl_category();
}

/// The alert that the peer sent; none for other errors.
std::optional<int> Alert(const error_code& error) {
  const int reason = ERR_GET_REASON(static_cast<unsigned long>(error.value()));
  if (!IsTls(error) || reason < SSL_AD_REASON_OFFSET)
    return std::nullopt;
  return reason - SSL_AD_REASON_OFFSET;
}

/// The ways in which a peer says that it does not accept the certificate that it was shown.
bool IsAboutCertificate(int alert) {
  static constexpr int k_Alerts[] = {SSL_AD_BAD_CERTIFICATE,     SSL_AD_UNSUPPORTED_CERTIFICATE,
                                     SSL_AD_CERTIFICATE_REVOKED, SSL_AD_CERTIFICATE_EXPIRED,
                                     SSL_AD_CERTIFICATE_UNKNOWN, SSL_AD_UNKNOWN_CA,
                                     SSL_AD_ACCESS_DENIED,       TLS13_AD_CERTIFICATE_REQUIRED};
  return std::find(std::begin(k_Alerts), std::end(k_Alerts), alert) != std::end(k_Alerts);
}

class TlsConnector : public Connector {
public:
  TlsConnector(asio::io_context& io, const Endpoint& endpoint, ssl::context context)
      : m_Io(io), m_Endpoint(endpoint), m_Context(std::move(context)) {}

  ~TlsConnector() override { TlsConnector::Cancel(); }

  String Address() const override { return m_Endpoint.ToString(); }

  void Connect(Done done) override {
    m_Lookup.Begin(m_Io, m_Endpoint, [this, done](const Lookup::Found& addresses) {
      if (!addresses)
        return done(ConnectFailure{addresses.Reason(), false});
      Dial(*addresses, done);
    });
  }

  void Cancel() override {
    m_Lookup.Abandon();
    if (!m_Stream)
      return;
    error_code ignored;
    m_Stream->lowest_layer().close(ignored);
    m_Stream.reset();
  }

  ConnectFailure Classify(const error_code& error) const override {
    const std::optional<int> alert = Alert(error);
    if (!alert)
      return {Explain(error), false};
    if (IsAboutCertificate(*alert))
      return {fmt::format("it does not accept this client's certificate ({})", error.message()), true};
    if (*alert == SSL_AD_PROTOCOL_VERSION)
      return {"it does not speak TLS 1.3", true};
    return {fmt::format("it refuses the TLS connection ({})", error.message()), true};
  }

private:
  // The handlers hold the stream, so that its operations can complete after Cancel; those of a cancelled
  // attempt find that it is not the current one any more.
  void Dial(const std::vector<asio::ip::tcp::endpoint>& addresses, const Done& done) {
    const auto stream = m_Stream = std::make_shared<TlsStream>(m_Io, m_Context);
    asio::async_connect(stream->lowest_layer(), addresses,
                        [this, stream, done](const error_code& error, const auto&) {
                          if (stream.use_count() == 1 || error == asio::error::operation_aborted)
                            return;
                          if (error)
                            return done(ConnectFailure{error.message(), false});
                          Handshake(stream, done);
                        });
  }

  void Handshake(const std::shared_ptr<TlsStream>& stream, const Done& done) {
    stream->lowest_layer().set_option(asio::ip::tcp::no_delay(true));
    SSL* tls = stream->native_handle();
    X509_VERIFY_PARAM* expected = SSL_get0_param(tls);
    if (X509_VERIFY_PARAM_set1_ip_asc(expected, m_Endpoint.m_Host.c_str()) != 1) {
      X509_VERIFY_PARAM_set1_host(expected, m_Endpoint.m_Host.c_str(), m_Endpoint.m_Host.size());
      SSL_set_tlsext_host_name(tls, m_Endpoint.m_Host.c_str());
    }
    stream->async_handshake(ssl::stream_base::client, [this, stream, done](const error_code& error) {
      if (stream.use_count() == 1 || error == asio::error::operation_aborted)
        return;
      if (error)
        return done(HandshakeFailure(*stream, error));
      m_Stream.reset();
      done(std::make_unique<AsioByteStream<TlsStream>>(stream));
    });
  }

  ConnectFailure HandshakeFailure(TlsStream& stream, const error_code& error) const {
    const long verified = SSL_get_verify_result(stream.native_handle());
    if (verified != X509_V_OK)
      return {fmt::format("its certificate is not accepted: {}", X509_verify_cert_error_string(verified)),
              true};
    if (IsTls(error) && error != asio::ssl::error::stream_truncated && !Alert(error))
      return {fmt::format("it does not speak TLS 1.3 ({})", error.message()), false};
    return Classify(error);
  }

  asio::io_context& m_Io;
  const Endpoint m_Endpoint;
  ssl::context m_Context;
  Lookup m_Lookup;
  std::shared_ptr<TlsStream> m_Stream; // of the attempt under way
};

} // namespace

std::unique_ptr<Connector> MakeTlsConnector(asio::io_context& io, const Endpoint& endpoint,
                                            ssl::context context) {
  return std::make_unique<TlsConnector>(io, endpoint, std::move(context));
}

} // namespace brenic
