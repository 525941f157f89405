// Decides one request while no Master serves.
#pragma once

#include "serve/Server.h"

namespace brenic::master {

/// The frames with which a Master would have answered the message, sent by this process's user. To be called
/// while a ServeLock is held. Throws Exception* or StoreFailure.
std::string DecideAlone(const Path& folder, const Message& message, const CertificateCare& care);

} // namespace brenic::master
