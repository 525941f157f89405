// Text to numbers, strictly.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace rlib {

/// Strict decimal parsers: the whole text must be one number, without space and independent of the locale.
/// One leading '+' or '-' is allowed. No value for what is not a number, out of range or not finite.
[[nodiscard]] std::optional<int32_t> ParseInt32(std::string_view text);
[[nodiscard]] std::optional<double> ParseDouble(std::string_view text);

} // namespace rlib
