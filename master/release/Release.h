// Which Master this is.
#pragma once

#include <cstdint>

#include "rlib/Version.h"

namespace brenic::master {

inline constexpr unsigned k_Version =
    rlib::PackVersion(BRENIC_VERSION_MAJOR, BRENIC_VERSION_MINOR, BRENIC_VERSION_PATCH);
inline constexpr int64_t k_Released = BRENIC_RELEASED; // milliseconds since 1970-01-01 UTC

} // namespace brenic::master
