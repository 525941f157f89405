#include "client/Dialer.h"

#include <algorithm>
#include <deque>

namespace brenic {

/// One Begin. Lives as long as an operation is under way; over once m_Done is empty.
class Dialer::Attempt : public std::enable_shared_from_this<Attempt> {
public:
  Attempt(asio::io_context& io, std::chrono::milliseconds nextAfter, std::vector<tcp::endpoint> addresses,
          Done done)
      : m_Io(io), m_NextAfter(nextAfter), m_Addresses(std::move(addresses)), m_Done(std::move(done)),
        m_Timer(io) {}

  void BeginNext() {
    if (!m_Done || m_Next == m_Addresses.size())
      return;
    if (m_Open.size() == k_MostAtOnce)
      m_Open.pop_front(); // closed with the last of its handler
    const auto socket = m_Open.emplace_back(std::make_shared<tcp::socket>(m_Io));
    socket->async_connect(m_Addresses[m_Next++],
                          [self = shared_from_this(), weak = std::weak_ptr(socket)](const error_code& error) {
                            self->OnConnected(weak.lock(), error);
                          });
    if (m_Next == m_Addresses.size())
      return;
    m_Timer.expires_after(m_NextAfter);
    m_Timer.async_wait([self = shared_from_this()](const error_code& cancelled) {
      if (!cancelled)
        self->BeginNext();
    });
  }

  void Cancel() {
    m_Done = {};
    m_Open.clear();
    m_Timer.cancel();
  }

private:
  /// Without the socket when it was given up.
  void OnConnected(const std::shared_ptr<tcp::socket>& socket, const error_code& error) {
    if (!m_Done || !socket)
      return;
    std::erase(m_Open, socket);
    if (error && m_Next < m_Addresses.size())
      return BeginNext();
    if (error && !m_Open.empty())
      return;
    const Done done = m_Done;
    Cancel();
    done(error, std::move(*socket));
  }

  asio::io_context& m_Io;
  const std::chrono::milliseconds m_NextAfter;
  const std::vector<tcp::endpoint> m_Addresses;
  Done m_Done;
  size_t m_Next = 0; // address to begin
  std::deque<std::shared_ptr<tcp::socket>> m_Open;
  asio::steady_timer m_Timer;
};

void Dialer::Begin(std::vector<tcp::endpoint> addresses, Done done) {
  Cancel();
  m_Attempt = std::make_shared<Attempt>(m_Io, m_NextAfter, std::move(addresses), std::move(done));
  m_Attempt->BeginNext();
}

void Dialer::Cancel() {
  if (m_Attempt)
    m_Attempt->Cancel();
  m_Attempt.reset();
}

std::vector<asio::ip::tcp::endpoint> Interleaved(const std::vector<asio::ip::tcp::endpoint>& addresses) {
  std::vector<asio::ip::tcp::endpoint> families[2];
  for (const auto& address : addresses)
    families[address.protocol() == addresses[0].protocol() ? 0 : 1].push_back(address);
  std::vector<asio::ip::tcp::endpoint> interleaved;
  for (size_t i = 0; i < std::max(families[0].size(), families[1].size()); ++i) {
    for (const auto& family : families) {
      if (i < family.size())
        interleaved.push_back(family[i]);
    }
  }
  return interleaved;
}

} // namespace brenic
