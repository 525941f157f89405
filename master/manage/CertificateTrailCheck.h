// Whether the table of the clients' certificates is as the audit trail says.
#pragma once

#include "store/Findings.h"
#include "store/Sqlite.h"

namespace brenic::master {

/// Compares the table `client` with the records that are still kept, as far as these tell for certain: of the
/// first administrator's certificate there is none, nor of those from before this layout. Also whether
/// records are missing that cannot have left.
void CheckCertificateTrail(Database& database, Findings& findings);

} // namespace brenic::master
