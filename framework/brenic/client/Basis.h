// What a write of a whole value was made from, so that the Master can refuse one that would undo another's
// change.
#pragma once

#include <string>

#include "brenic/Message.h"

namespace brenic {

/// Remembers the values that were last delivered: the path translations and the user limits. Not thread-safe.
class Basis {
public:
  void Delivered(const Message& message);
  /// The SHA-256, 32 bytes, of the value that `message` overwrites as it was last delivered; empty when
  /// `message` overwrites none, or none was delivered.
  std::string For(const Message& message) const;

private:
  std::string m_Translations; // digest of the encoded PathTranslations
  std::string m_UserLimits;   // digest of the option's text
};

} // namespace brenic
