#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fmt/core.h>

#include "client/Connectors.h"

namespace brenic {

namespace {

using LocalSocket = asio::local::stream_protocol::socket;

constexpr size_t k_LongestPath = sizeof(sockaddr_un::sun_path) - 1;

String ExplainConnecting(const error_code& error) {
  const char* advice = "check the path, and that the Master runs";
  if (error == asio::error::access_denied)
    advice = "be root or the Master's own user, or use -Master <address:port> with credentials";
  if (error == asio::error::connection_refused)
    return fmt::format("{}: nobody listens there; check that the Master runs", error.message());
  return fmt::format("{}; {}", error.message(), advice);
}

class LocalConnector : public Connector {
public:
  LocalConnector(asio::io_context& io, const Endpoint& endpoint) : m_Io(io), m_Endpoint(endpoint) {}
  ~LocalConnector() override { LocalConnector::Cancel(); }

  String Address() const override { return m_Endpoint.ToString(); }

  void Connect(Done done) override {
    const auto socket = m_Socket = std::make_shared<LocalSocket>(m_Io);
    try {
      const asio::local::stream_protocol::endpoint endpoint(m_Endpoint.m_Socket.str().str());
      socket->async_connect(endpoint, [this, socket, done](const error_code& error) {
        if (socket.use_count() == 1 || error == asio::error::operation_aborted)
          return;
        m_Socket.reset();
        if (error)
          return done(ConnectFailure{ExplainConnecting(error), false});
        if (const std::optional<ConnectFailure> distrust = CheckPeer(*socket))
          return done(*distrust);
        done(std::make_unique<AsioByteStream<LocalSocket>>(std::move(*socket)));
      });
    } catch (const boost::system::system_error& error) {
      const std::string text =
          fmt::format("{}; a socket's path has at most {} bytes", error.code().message(), k_LongestPath);
      asio::post(m_Io, [done, text] { done(ConnectFailure{text, true}); });
    }
  }

  void Cancel() override {
    if (!m_Socket)
      return;
    error_code ignored;
    m_Socket->close(ignored);
    m_Socket.reset();
  }

  ConnectFailure Classify(const error_code& error) const override { return {Explain(error), false}; }

private:
  /// Whoever may put a socket where this one lies could read everything sent through it, so only root, this
  /// process's own user and the owner of the folder are believed to be the Master. No value for one of these.
  std::optional<ConnectFailure> CheckPeer(LocalSocket& socket) const {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
      return ConnectFailure{fmt::format("its user cannot be determined: {}", rlib::ErrorText(errno).str()),
                            true};
    struct stat folder {};
    const Path parent = m_Endpoint.m_Socket.Parent();
    const bool known = stat(parent.empty() ? "." : parent.c_str(), &folder) == 0;
    if (peer.uid == 0 || peer.uid == geteuid() || (known && peer.uid == folder.st_uid))
      return std::nullopt;
    return ConnectFailure{
        fmt::format(
            "the process behind it runs as user {}, which is neither root, nor you, nor the owner "
            "of the socket's folder; make sure that it is the Master, or use -Master <address:port> with "
            "credentials",
            peer.uid),
        true};
  }

  asio::io_context& m_Io;
  const Endpoint m_Endpoint;
  std::shared_ptr<LocalSocket> m_Socket; // of the attempt under way
};

} // namespace

std::unique_ptr<Connector> MakeLocalConnector(asio::io_context& io, const Endpoint& endpoint) {
  return std::make_unique<LocalConnector>(io, endpoint);
}

} // namespace brenic
