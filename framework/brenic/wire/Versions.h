// Which versions of the protocol two sides speak, and which one they use.
#pragma once

#include <optional>
#include <string>

#include "wire/Frames.h"

namespace brenic::wire {

/// An empty range, the lowest above the highest, has nothing in common with any.
struct VersionRange {
  uint32_t m_Lowest;
  uint32_t m_Highest;

  bool Has(uint32_t version) const { return m_Lowest <= version && version <= m_Highest; }
};

/// What this program speaks.
inline constexpr VersionRange k_SpokenVersions{1, 1};

/// What the sender of a Hello or Welcome speaks: its `protocol_version` alone where it names no range.
template <typename Greeting>
VersionRange SpokenBy(const Greeting& greeting) {
  const uint32_t lowest = greeting.lowest_version(), highest = greeting.highest_version();
  return {lowest ? lowest : greeting.protocol_version(), highest ? highest : greeting.protocol_version()};
}

template <typename Greeting>
void NameVersions(Greeting& greeting) {
  greeting.set_lowest_version(k_SpokenVersions.m_Lowest);
  greeting.set_highest_version(k_SpokenVersions.m_Highest);
}

/// The version that two sides use: the highest that both speak; none when there is none.
std::optional<uint32_t> HighestCommon(const VersionRange& one, const VersionRange& other);

/// As "version 1" or "versions 1 to 3".
std::string Words(const VersionRange& versions);

} // namespace brenic::wire
