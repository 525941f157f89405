// Whether the certificates and keys of a Master fit each other.
#pragma once

#include "store/Findings.h"
#include "store/Sqlite.h"

namespace brenic::master {

/// The Master's row, its authorities, its own certificate and the table of its clients' certificates.
/// `isBackup`: a file that need not hold private keys.
void CheckCertificates(Database& database, bool isBackup, Findings& findings);

} // namespace brenic::master
