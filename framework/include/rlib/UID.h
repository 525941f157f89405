// Identifiers of types, messages and everything else that must be told apart.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>

#include "rlib/String.h"

namespace rlib {

/// A 128-bit identifier. Ordered by unsigned bytes.
class UID {
public:
  using Raw = std::array<uint8_t, 16>;

  /// The null identifier, or a fresh random one.
  explicit UID(bool fresh = false);
  constexpr explicit UID(const Raw& bytes) : m_Bytes(bytes) {}

  /// The all-zero identifier. Initialised before any dynamic initialiser runs.
  static const UID Null;

  bool IsNull() const { return *this == Null; }
  constexpr const Raw& Bytes() const { return m_Bytes; }

  /// Lower case, "00000000-0000-0000-0000-000000000000" for the null identifier.
  String ToString() const;

  /// Takes the 36 characters of ToString's form, in any case. Anything else gives false and changes nothing.
  [[nodiscard]] bool FromString(const String& text);

  friend bool operator==(const UID&, const UID&) = default;
  friend std::strong_ordering operator<=>(const UID&, const UID&) = default;

private:
  Raw m_Bytes{};
};

std::ostream& operator<<(std::ostream& out, const UID& uid);

} // namespace rlib

template <>
struct std::hash<rlib::UID> {
  size_t operator()(const rlib::UID& uid) const noexcept;
};
