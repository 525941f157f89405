// How long the audit trail's JSON of a request is, without making it.
#pragma once

#include "brenic/Message.h"

namespace brenic::master {

/// A field longer than this as JSON text, in bytes, is shown by its digest and size.
inline constexpr size_t k_MaxAuditField = 64 * 1024;

/// Whether a field of the message is too long to be shown.
bool HasLongField(const Message& message);

} // namespace brenic::master
