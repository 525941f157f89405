// SHA-256, as bytes and as text.
#pragma once

#include <string>
#include <string_view>

namespace brenic {

inline constexpr size_t k_DigestBytes = 32;

/// k_DigestBytes bytes.
std::string Sha256(std::string_view bytes);
/// Lower-case hexadecimal.
std::string Hex(std::string_view bytes);

} // namespace brenic
