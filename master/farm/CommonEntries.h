// What two lists of numbers have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace brenic::master {

/// How many removed and added entries a search for the shortest change looks ahead.
inline constexpr size_t k_ListReach = 64;

struct CommonEntries {
  /// A position before and the position after of the same entry. Both ascend.
  std::vector<std::pair<size_t, size_t>> m_Pairs;
  /// How often an entry, a path or a pair was looked at, so that a test can tell how the work grows.
  size_t m_Steps = 0;
};

/// The entries that stay when `before` becomes `after`: as many as possible if none that stands in both lists
/// repeats, or if at most k_ListReach of those that do not stay stand in both lists. O(n log n) steps,
/// whatever the lists. No gap between the pairs begins or ends with the same entry on both sides. The ids are
/// less than `kinds`.
CommonEntries FindCommonEntries(const std::vector<uint32_t>& before, const std::vector<uint32_t>& after,
                                size_t kinds);

} // namespace brenic::master
