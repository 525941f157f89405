// The contents of a request as the audit trail shows them.
#pragma once

#include "brenic/Message.h"
#include "farm/Json.h"

namespace brenic::master {

/// A field longer than this as JSON text is replaced by its digest and size.
inline constexpr size_t k_MaxAuditField = 64 * 1024;

/// A JSON object with the fields of the message's class.
Json AuditFields(const Message& message);

} // namespace brenic::master
