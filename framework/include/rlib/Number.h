// Text to numbers, strictly.
#pragma once

#include <cstdint>
#include <string_view>

namespace rlib {

/// Strict decimal parsers: the whole text must be one number, without space and independent of the locale.
/// One leading '+' or '-' is allowed. On failure (no number, out of range, not finite) the result is false
/// and the value is left alone.
[[nodiscard]] bool ParseInt32(std::string_view text, int32_t& value);
[[nodiscard]] bool ParseDouble(std::string_view text, double& value);

} // namespace rlib
