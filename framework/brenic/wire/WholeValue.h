// Values that are read, edited and written back as a whole. A write of one is bound to the value that it was
// made from, so that the Master can refuse one that would undo another's change.
#pragma once

#include <optional>

#include "brenic/Message.h"

namespace brenic::wire {

enum class WholeValue { k_PathTranslations, k_UserLimits };

/// Which one the message holds; none for other messages.
std::optional<WholeValue> WholeValueIn(const Message& message);

/// SHA-256, 32 bytes, of the value that the message holds, which must hold one; in this program's own
/// encoding, so that one that cannot carry all of it back is found out.
std::string BasisOf(const Message& message);

} // namespace brenic::wire
