// Makes connections to a Master. The client asks it for one after the other.
#pragma once

#include <variant>

#include "net/ByteStream.h"

namespace brenic {

/// Why no connection could be made.
struct ConnectFailure {
  String m_Text;
  bool m_Final = false; // trying again would not help
};

/// A connection, authenticated as far as this side can, or why there is none. Not an rlib::Result, since
/// whether to try again depends on more than the reason's text.
using ConnectResult = std::variant<std::unique_ptr<ByteStream>, ConnectFailure>;

/// Used on the I/O thread only.
class Connector {
public:
  using Done = std::function<void(ConnectResult result)>;

  virtual ~Connector() = default;

  /// Where it connects to, for the user.
  virtual String Address() const = 0;
  /// Makes one connection; `done` is called once, not from within, unless Cancel is called before.
  virtual void Connect(Done done) = 0;
  virtual void Cancel() = 0;
  /// What an error of an established connection means before the Master has let the client in: over TLS it is
  /// how a rejected certificate shows.
  virtual ConnectFailure Classify(const error_code& error) const = 0;
};

} // namespace brenic
