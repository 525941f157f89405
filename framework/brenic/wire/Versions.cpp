#include "wire/Versions.h"

#include <algorithm>

#include <fmt/core.h>

namespace brenic::wire {

std::optional<uint32_t> HighestCommon(const VersionRange& one, const VersionRange& other) {
  const uint32_t highest = std::min(one.m_Highest, other.m_Highest);
  if (!one.Has(highest) || !other.Has(highest))
    return std::nullopt;
  return highest;
}

std::string Words(const VersionRange& versions) {
  if (versions.m_Lowest == versions.m_Highest)
    return fmt::format("version {}", versions.m_Lowest);
  return fmt::format("versions {} to {}", versions.m_Lowest, versions.m_Highest);
}

} // namespace brenic::wire
