// What a client's own certificate tells its user.
#pragma once

#include <ctime>
#include <optional>

#include <openssl/x509.h>

#include "brenic/Types.h"

namespace brenic {

/// One line that says when the certificate in `file` ends and what to do about it; none unless it ends within
/// the 60 days from `now` (seconds since 1970) on. None for one that has ended either: whether a certificate
/// is valid the Master decides, and its refusal tells of that.
std::optional<String> EndsSoon(const X509* certificate, const Path& file, std::time_t now);

/// The command that makes new credentials in place of the certificate's, for the Master's machine. What it
/// says of the client a shell takes as it is.
std::string RenewalCommand(const X509* certificate);

/// What to do for new credentials: who runs what, as a part of a sentence.
std::string HowToRenew(const X509* certificate);

} // namespace brenic
