// The end of a wait that cannot come to its end.
#pragma once

#include "brenic/Types.h"

namespace brenic {

/// Thrown, as a pointer, by a wait whose message can no longer be delivered: the connection has ended for
/// good, or the loop was told to end. Executable::Go takes it as the ordinary end of the loop.
class ConnectionEnded : public Exception {
public:
  explicit ConnectionEnded(const String& text) : Exception(text) {}
  String Name() const override { return "ConnectionEnded"; }
};

} // namespace brenic
