// A request of the audit trail, and what it did, as JSON.
#pragma once

#include "manage/Json.h"
#include "store/Store.h"

namespace brenic::master {

/// A JSON object with the fields of the message; one that is too long is replaced by its digest and size.
Json AuditFields(const Message& message);

/// A JSON object with the fields of the record's request, as far as they were kept; where that is not all of
/// them, with its digest and size.
Json RequestFields(const AuditRecord& record);

/// A JSON object with the state before and after of everything that changed; null stands for what was or is
/// not there.
Json ChangeJson(const Change& change);

} // namespace brenic::master
