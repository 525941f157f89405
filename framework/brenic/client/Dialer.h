// Connecting to a host that has several addresses.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "net/Asio.h"

namespace brenic {

/// Connects to the first of several addresses that answers. One that is silent does not hold up the others:
/// the next one is begun after a while, and at once when one fails. Used on the I/O thread only.
class Dialer {
public:
  using tcp = asio::ip::tcp;
  /// A connected socket, or the error of the address that failed last.
  using Done = std::function<void(const error_code& error, tcp::socket socket)>;

  static constexpr std::chrono::milliseconds k_NextAfter{250};
  /// For one more the oldest is given up.
  static constexpr size_t k_MostAtOnce = 8;

  /// Another time than the usual is for tests.
  explicit Dialer(asio::io_context& io, std::chrono::milliseconds nextAfter = k_NextAfter)
      : m_Io(io), m_NextAfter(nextAfter) {}
  ~Dialer() { Cancel(); }
  Dialer(const Dialer&) = delete;
  Dialer& operator=(const Dialer&) = delete;

  /// Cancels an earlier one. `done` is called once, not from within, unless Cancel is called before.
  /// `addresses`, at least one, are tried in this order.
  void Begin(std::vector<tcp::endpoint> addresses, Done done);
  void Cancel();

private:
  class Attempt;

  asio::io_context& m_Io;
  const std::chrono::milliseconds m_NextAfter;
  std::shared_ptr<Attempt> m_Attempt;
};

/// The same addresses, IPv4 and IPv6 in turn as long as there are both, each family in its order; the family
/// that came first begins. So a family that leads nowhere costs one address at a time.
std::vector<asio::ip::tcp::endpoint> Interleaved(const std::vector<asio::ip::tcp::endpoint>& addresses);

} // namespace brenic
