// Accepts connections and finds out who is at the other end.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "net/ByteStream.h"
#include "serve/Writer.h"

namespace brenic::master {

/// An authenticated connection.
struct Arrival {
  std::unique_ptr<ByteStream> m_Stream;
  Peer m_Peer;
  std::optional<String> m_Rejection;         // why the peer is not let in
  std::optional<ClientRecord> m_Client = {}; // of its certificate
  bool m_IsValidityLearnt = false;           // from the certificate: the store does not know it
  std::chrono::steady_clock::time_point m_Since = std::chrono::steady_clock::now(); // when it connected
};

/// I/O thread. Nothing arrives after Close.
class Listener {
public:
  using OnArrival = std::function<void(Arrival arrival)>;
  using ReportStranger = std::function<void(const String& line)>;
  using Now = std::function<int64_t()>; // by which certificates are judged
  using FindClient = std::function<std::optional<ClientRecord>(const std::string& serial)>;

  virtual ~Listener() = default;
  virtual void Close() = 0;
  /// As a user writes it; several are separated by a comma and a space.
  virtual String Address() const = 0;
  /// 0 for a local socket.
  virtual uint16_t Port() const { return 0; }
  /// Who arrives from now on is shown the Master's present certificate, and judged by its present
  /// authorities.
  virtual void Present(const MasterRecord&) {}
  /// Listens anew where others have taken away by what it is reached. True when that was so; fails when it
  /// cannot.
  virtual rlib::Result<bool> Mend() { return false; }
};

/// Whether this machine knows IPv6 at all.
bool HasIPv6();
/// Where a Master listens unless told otherwise: on all addresses.
String DefaultListen(bool hasIPv6);

/// Throws Exception* unless it is "ADDRESS:PORT" with a numeric address.
void CheckListen(const String& address);

/// TLS over TCP on each "ADDRESS:PORT"; port 0 takes a free one. They share one set of handshakes. Its port
/// is the first one's. Throws Exception* unless it can listen on all.
std::unique_ptr<Listener> ListenTls(asio::io_context& io, const std::vector<String>& addresses,
                                    const MasterRecord& master, Listener::FindClient findClient,
                                    Listener::Now now, Listener::ReportStranger report,
                                    Listener::OnArrival onArrival);

/// Who comes by a local socket: administrators as over TLS, or whoever may also manage certificates.
enum class LocalUse { k_Clients, k_Management };

/// A local socket, where the peer's user decides: root and this process's user are administrators. A socket
/// file that nobody serves any more is replaced. Throws Exception*.
std::unique_ptr<Listener> ListenLocal(asio::io_context& io, const Path& socket, LocalUse use,
                                      Listener::ReportStranger report, Listener::OnArrival onArrival);

/// Accepts until the acceptor is closed; when there are no more descriptors, tries again a little later.
/// While it is held, newcomers wait in the kernel's queue.
template <typename Acceptor>
class AcceptLoop {
public:
  using Socket = typename Acceptor::protocol_type::socket;

  AcceptLoop(asio::io_context& io, std::function<void(Socket socket)> onSocket)
      : m_Acceptor(io), m_Retry(io), m_OnSocket(std::move(onSocket)) {}

  Acceptor& Get() { return m_Acceptor; }

  /// Accepts nothing from now on; calls `onNewcomer` once somebody waits.
  void Hold(std::function<void()> onNewcomer) {
    m_Held = true;
    m_OnNewcomer = std::move(onNewcomer);
    error_code ignored;
    m_Acceptor.cancel(ignored);
    m_Acceptor.async_wait(Acceptor::wait_read, [this](const error_code& error) {
      if (!error)
        m_OnNewcomer();
    });
  }
  void GoOn() {
    if (!std::exchange(m_Held, false))
      return;
    error_code ignored;
    m_Acceptor.cancel(ignored);
    if (auto kept = std::exchange(m_Kept, std::nullopt))
      m_OnSocket(std::move(*kept));
    if (!m_Held)
      Accept();
  }

  void Accept() {
    if (std::exchange(m_IsUnderWay, true))
      return;
    m_Acceptor.async_accept([this](const error_code& error, Socket socket) {
      m_IsUnderWay = false;
      if (!m_Acceptor.is_open())
        return; // also with a socket that was accepted just before
      if (error && error != asio::error::operation_aborted)
        return RetryLater();
      if (!error && m_Held)
        Keep(std::move(socket));
      else if (!error)
        m_OnSocket(std::move(socket));
      if (!m_Held)
        Accept();
    });
  }

  void Close() {
    error_code ignored;
    m_Acceptor.close(ignored);
    m_Retry.cancel();
    m_Kept.reset();
  }

private:
  void RetryLater() {
    m_IsUnderWay = true;
    m_Retry.expires_after(std::chrono::milliseconds(100));
    m_Retry.async_wait([this](const error_code&) {
      m_IsUnderWay = false;
      if (m_Acceptor.is_open() && !m_Held)
        Accept();
    });
  }
  /// It was accepted before the loop was held.
  void Keep(Socket socket) {
    m_Kept.emplace(std::move(socket));
    m_OnNewcomer();
  }

  Acceptor m_Acceptor;
  asio::steady_timer m_Retry;
  std::function<void(Socket socket)> m_OnSocket;
  std::function<void()> m_OnNewcomer;
  std::optional<Socket> m_Kept; // for when it goes on
  bool m_IsUnderWay = false;    // an accept, or the wait for the next attempt
  bool m_Held = false;
};

} // namespace brenic::master
