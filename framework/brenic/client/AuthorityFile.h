// The file of the authorities whose Masters a client believes.
#pragma once

#include <openssl/types.h>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic {

/// Lets `context` trust every certificate in the file, which has at least one: while a farm's authority is
/// renewed, it holds the old and the new one. What stands between them is no matter. Fails, with the reason
/// as a part of a sentence, when one of them is damaged, also where its marks are, by which it would be
/// passed over.
rlib::Result<> TrustAuthorities(SSL_CTX* context, const Path& file);

} // namespace brenic
