// What a write of a whole value was made from, so that the Master can refuse one that would undo another's
// change.
#pragma once

#include <map>
#include <string>

#include "wire/WholeValue.h"

namespace brenic {

/// Remembers the messages with whole values that were last delivered, which nobody may change afterwards: a
/// digest is computed only when a write needs it, which few runs do. Not thread-safe.
class Basis {
public:
  void Delivered(const shared_ptr<const Message>& message);
  /// The SHA-256, 32 bytes, of the value that `message` overwrites as it was last delivered; empty when
  /// `message` overwrites none, or none was delivered.
  std::string For(const Message& message) const;

private:
  std::map<wire::WholeValue, shared_ptr<const Message>> m_Delivered;
};

} // namespace brenic
