// Makes connections to a Master. The client asks it for one after the other.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "net/ByteStream.h"
#include "net/Endpoint.h"

namespace brenic {

/// Why no connection could be made.
struct ConnectFailure {
  String m_Text;
  bool m_Final = false; // trying again would not help
};

/// Used on the I/O thread only.
class Connector {
public:
  using Done = std::function<void(std::unique_ptr<ByteStream> stream, const ConnectFailure& failure)>;

  virtual ~Connector() = default;

  /// Where it connects to, for the user.
  virtual String Address() const = 0;
  /// Makes one connection, authenticated as far as this side can; `done` is called once, not from within,
  /// unless Cancel is called before. Without a stream, `failure` tells why.
  virtual void Connect(Done done) = 0;
  virtual void Cancel() = 0;
  /// What an error of an established connection means before the Master has let the client in: over TLS it is
  /// how a rejected certificate shows.
  virtual ConnectFailure Classify(const error_code& error) const = 0;
};

/// Over TLS, with a client's context.
std::unique_ptr<Connector> MakeTlsConnector(asio::io_context& io, const Endpoint& endpoint,
                                            asio::ssl::context context);
/// Through a local socket.
std::unique_ptr<Connector> MakeLocalConnector(asio::io_context& io, const Endpoint& endpoint);

} // namespace brenic
