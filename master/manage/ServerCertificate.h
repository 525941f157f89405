// The Master's own certificate.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// Issues the Master's own certificate anew when it ends soon; the log says so, and when the authority does.
/// The authority stays: to replace it, every client needs new credentials. Throws StoreFailure for a broken
/// store, and Exception* when OpenSSL fails.
void RenewServerCertificate(Store& store);

} // namespace brenic::master
