// Name resolution that nobody has to wait for.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "net/Asio.h"
#include "net/Endpoint.h"

namespace brenic {

/// One lookup of a host's addresses, done on a thread of its own that is abandoned when the lookup is
/// destroyed or the process ends first: a blocked lookup must not hold up an exit.
class Lookup {
public:
  /// Called once on the I/O thread, not from within Begin: with why there is no address, or with at least
  /// one.
  using Done = std::function<void(const String& problem, const std::vector<asio::ip::tcp::endpoint>& found)>;

  Lookup() = default;
  ~Lookup() { Abandon(); }
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;

  /// Abandons an earlier lookup.
  void Begin(asio::io_context& io, const Endpoint& endpoint, Done done);
  void Abandon();

private:
  struct Request;
  std::shared_ptr<Request> m_Request;
};

} // namespace brenic
