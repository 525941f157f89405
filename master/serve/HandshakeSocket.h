// A connection's socket, as TLS uses it.
#pragma once

#include <sys/socket.h>

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "net/Asio.h"

namespace brenic::master {

/// During the handshake what arrives stays in the kernel until the handshake goes on with it, so that one can
/// tell which side is waited for, and nothing is computed for a peer that has left. From Established on it is
/// a plain socket. Used by one thread at a time.
class HandshakeSocket {
public:
  using lowest_layer_type = asio::ip::tcp::socket;
  using executor_type = lowest_layer_type::executor_type;

  explicit HandshakeSocket(asio::ip::tcp::socket socket) : m_Socket(std::move(socket)) {}

  // The names that a stream of Asio has.
  // NOLINTBEGIN(readability-identifier-naming)
  executor_type get_executor() { return m_Socket.get_executor(); }
  lowest_layer_type& lowest_layer() { return m_Socket; }
  const lowest_layer_type& lowest_layer() const { return m_Socket; }
  // NOLINTEND(readability-identifier-naming)

  void Established() { m_Established = true; }
  /// How long the peer has been waited for in all, so that it gains nothing by sending little at a time; 0
  /// while there is something of it to go on with.
  std::chrono::steady_clock::duration Waited() {
    error_code error;
    if (!m_WaitingSince || m_Socket.available(error) > 0 || error)
      return {};
    return m_Waited + (std::chrono::steady_clock::now() - *m_WaitingSince);
  }

  // NOLINTBEGIN(readability-identifier-naming)
  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    if (m_Established)
      m_Socket.async_read_some(buffers, std::forward<Handler>(handler));
    else
      ReadWhenThere(buffers, std::decay_t<Handler>(std::forward<Handler>(handler)));
  }
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    m_Socket.async_write_some(buffers, std::forward<Handler>(handler));
  }
  // NOLINTEND(readability-identifier-naming)

private:
  template <typename Buffers, typename Handler>
  void ReadWhenThere(const Buffers& buffers, Handler handler) {
    m_WaitingSince = std::chrono::steady_clock::now();
    const auto executor = asio::get_associated_executor(handler, get_executor());
    m_Socket.async_wait(lowest_layer_type::wait_read,
                        asio::bind_executor(executor, [this, buffers, handler = std::move(handler)](
                                                          error_code error) mutable {
                          size_t bytes = 0;
                          if (!error)
                            m_Socket.non_blocking(true, error);
                          if (!error)
                            bytes = m_Socket.read_some(buffers, error);
                          if (error == asio::error::would_block)
                            return ReadWhenThere(buffers, std::move(handler));
                          m_Waited += std::chrono::steady_clock::now() - *m_WaitingSince;
                          m_WaitingSince.reset();
                          if (!error && HasLeft())
                            error = asio::error::eof;
                          handler(error, bytes);
                        }));
  }

  bool HasLeft() {
    char byte;
    return recv(m_Socket.native_handle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
  }

  asio::ip::tcp::socket m_Socket;
  std::optional<std::chrono::steady_clock::time_point> m_WaitingSince;
  std::chrono::steady_clock::duration m_Waited{}; // before
  bool m_Established = false;
};

} // namespace brenic::master
