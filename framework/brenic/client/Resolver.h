// Name resolution that nobody has to wait for.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "net/Asio.h"
#include "net/Endpoint.h"
#include "rlib/Result.h"

namespace brenic {

/// One lookup of a host's addresses, done on a thread of its own that is abandoned when the lookup is
/// destroyed or the process ends first: a blocked lookup must not hold up an exit.
class Lookup {
public:
  /// At least one address, or why there is none.
  using Found = rlib::Result<std::vector<asio::ip::tcp::endpoint>>;
  /// Called once on the I/O thread, not from within Begin.
  using Done = std::function<void(const Found& found)>;

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
