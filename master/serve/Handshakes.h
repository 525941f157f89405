// TLS handshakes with peers that are not known yet.
#pragma once

#include <map>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>

#include "brenic/Types.h"
#include "net/Asio.h"
#include "serve/HandshakeSocket.h"

namespace brenic::master {

using TlsStream = asio::ssl::stream<HandshakeSocket>;

/// Carries them out on a thread of its own, so that they hold up nobody who is let in already. At most k_Most
/// are under way. Used on the I/O thread, which its callbacks are called on too.
class Handshakes {
public:
  static constexpr size_t k_Most = 512;
  static constexpr std::chrono::seconds k_Within{5};
  /// How long a peer may be waited for while others wait for a place.
  static constexpr std::chrono::milliseconds k_Patience{250};

  using Clock = std::chrono::steady_clock;

  /// How one ended.
  struct Ended {
    std::shared_ptr<TlsStream> m_Stream; // null when it failed
    std::string m_Address;
    Clock::time_point m_Since; // when the peer was accepted
    String m_Why;              // it failed
  };
  using OnEnded = std::function<void(Ended ended)>;

  Handshakes(asio::io_context& io, asio::ssl::context& context, OnEnded onEnded);
  /// Ends all of them.
  ~Handshakes();

  void Begin(asio::ip::tcp::socket socket, const asio::ip::tcp::endpoint& remote, const std::string& address);
  bool IsFull() const { return m_Count >= k_Most; }
  /// Ends the one that WhomToEnd names, now or as soon as there is one. Ends none when another one ends
  /// first.
  void MakeRoom();
  /// Ends all of them; nothing is called back after this.
  void Close();

  struct Waiting {
    asio::ip::address m_From;
    Clock::duration m_Waited; // for the peer; 0 while this side is to go on
  };
  /// Of those who waited longer than k_Patience, one from the address that has most handshakes under way;
  /// among these the one that has waited longest.
  static std::optional<size_t> WhomToEnd(const std::vector<Waiting>& all);

private:
  struct Handshake {
    std::shared_ptr<TlsStream> m_Stream;
    asio::ip::address m_From;
    std::string m_Address;
    Clock::time_point m_Since;
    asio::steady_timer m_Timer;
    String m_EndedBecause; // by this side
  };

  // On the thread of the handshakes.
  void Carry(const std::shared_ptr<Handshake>& handshake);
  void End(Handshake& handshake, const String& reason);
  void EndOne();

  asio::io_context& m_Io;
  asio::ssl::context& m_Context;
  const OnEnded m_OnEnded;
  size_t m_Count = 0;
  // While there are some: the I/O thread would end before the other one has begun what it is to wait for.
  std::optional<asio::executor_work_guard<asio::io_context::executor_type>> m_Busy;
  bool m_Closed = false;

  asio::io_context m_Own{1};
  asio::executor_work_guard<asio::io_context::executor_type> m_Work;
  // Of the thread of the handshakes.
  std::set<std::shared_ptr<Handshake>> m_All;
  bool m_RoomWanted = false;
  asio::steady_timer m_RoomTimer;

  std::thread m_Thread;
};

} // namespace brenic::master
