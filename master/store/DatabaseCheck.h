// Whether a database is whole, and whether what it holds keeps the Master's rules.
#pragma once

#include "farm/Farm.h"
#include "store/Findings.h"
#include "store/Sqlite.h"

namespace brenic::master {

// Each reads row by row and takes any file whatsoever; the caller begins a transaction, so that all look at
// one commit. Throws StoreFailure for a store that is full or busy.

/// Pages, layout, tables and the kinds of the values in them. False when it has not the present layout, and
/// the others would not know their way.
bool CheckDatabase(Database& database, Findings& findings);

/// Options, limits, restrictions, path translations and products. The farm; none when a part
/// of it could not be read.
std::optional<Farm> CheckSettings(Database& database, Findings& findings);

/// The clock, and the audit trail: its sequence and times, each record, and whether its changes, taken back
/// one by one from `farm`, the present one, fit each other; where it is known, else null.
void CheckTrail(Database& database, const Farm* farm, Findings& findings);

} // namespace brenic::master
