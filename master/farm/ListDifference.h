// What a change did to a list, as a value whose size follows the change and not the list.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "farm/CommonEntries.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Entries that stood next to each other and gave way to others, between entries that stayed.
template <typename Entry>
struct ListRun {
  size_t m_At = 0; // where it begins in the list before, from 0
  std::vector<Entry> m_Removed;
  std::vector<Entry> m_Added;

  friend bool operator==(const ListRun&, const ListRun&) = default;
};

/// An entry is copied, compared with ==, and ordered by a < that agrees with ==.
template <typename Entry>
struct ListDifference {
  /// Ascending; at least one entry stays between two of them; each removes or adds something.
  std::vector<ListRun<Entry>> m_Runs;

  /// As few entries as possible are removed and added if no entry that stands in both lists repeats, or if at
  /// most k_ListReach of those removed and added stand in both lists. Otherwise their number follows the
  /// change, but need not be the least. O(n log n) comparisons of entries, and steps in all, whatever the
  /// lists; n comparisons when they are equal.
  static ListDifference Between(const std::vector<Entry>& before, const std::vector<Entry>& after);

  bool IsEmpty() const { return m_Runs.empty(); }

  /// What turns the list after into the list before. Linear.
  ListDifference Inverse() const;

  /// The list after. Fails unless the runs are as m_Runs asks and fit `before`: all in range, and what they
  /// remove stands exactly there. Linear. Runs from anywhere may be tried.
  rlib::Result<std::vector<Entry>> AppliedTo(std::vector<Entry> before) const;

  friend bool operator==(const ListDifference&, const ListDifference&) = default;

private:
  /// Fails unless run `i` fits the list, of which the runs before it have dealt with all up to `next`.
  rlib::Result<> CheckRun(size_t i, size_t next, const std::vector<Entry>& before) const;
};

/// The entries of two lists as numbers, the same for equal ones.
struct NumberedEntries {
  std::vector<uint32_t> m_Before;
  std::vector<uint32_t> m_After;
  size_t m_Kinds = 0; // all numbers are less
};

template <typename Entry>
NumberedEntries NumberEntries(std::span<const Entry> before, std::span<const Entry> after) {
  struct Place {
    const Entry* m_Entry;
    uint32_t* m_Number;
  };
  NumberedEntries numbered{std::vector<uint32_t>(before.size()), std::vector<uint32_t>(after.size())};
  std::vector<Place> places;
  places.reserve(before.size() + after.size());
  for (size_t i = 0; i != before.size(); ++i)
    places.push_back({&before[i], &numbered.m_Before[i]});
  for (size_t i = 0; i != after.size(); ++i)
    places.push_back({&after[i], &numbered.m_After[i]});
  std::sort(places.begin(), places.end(),
            [](const Place& a, const Place& b) { return *a.m_Entry < *b.m_Entry; });

  const Entry* last = nullptr;
  for (const Place& place : places) {
    if (!last || !(*last == *place.m_Entry))
      ++numbered.m_Kinds;
    *place.m_Number = static_cast<uint32_t>(numbered.m_Kinds - 1);
    last = place.m_Entry;
  }
  return numbered;
}

template <typename Entry>
auto ListDifference<Entry>::Between(const std::vector<Entry>& before, const std::vector<Entry>& after)
    -> ListDifference {
  std::span<const Entry> from(before);
  std::span<const Entry> to(after);
  const auto head = std::mismatch(from.begin(), from.end(), to.begin(), to.end()).first - from.begin();
  const auto begin = static_cast<size_t>(head);
  from = from.subspan(begin);
  to = to.subspan(begin);
  while (!from.empty() && !to.empty() && from.back() == to.back()) {
    from = from.first(from.size() - 1);
    to = to.first(to.size() - 1);
  }

  ListDifference difference;
  size_t nextBefore = 0;
  size_t nextAfter = 0;
  const auto endRun = [&](size_t beforeHere, size_t afterHere) {
    const auto removed = from.subspan(nextBefore, beforeHere - nextBefore);
    const auto added = to.subspan(nextAfter, afterHere - nextAfter);
    if (!removed.empty() || !added.empty())
      difference.m_Runs.push_back(
          {begin + nextBefore, {removed.begin(), removed.end()}, {added.begin(), added.end()}});
    nextBefore = beforeHere + 1;
    nextAfter = afterHere + 1;
  };
  const NumberedEntries numbered = NumberEntries(from, to);
  for (const auto& [i, j] : FindCommonEntries(numbered.m_Before, numbered.m_After, numbered.m_Kinds).m_Pairs)
    endRun(i, j);
  endRun(from.size(), to.size());
  return difference;
}

template <typename Entry>
auto ListDifference<Entry>::Inverse() const -> ListDifference {
  ListDifference inverse;
  inverse.m_Runs.reserve(m_Runs.size());
  size_t removed = 0;
  size_t added = 0;
  for (const auto& run : m_Runs) {
    inverse.m_Runs.push_back({run.m_At - removed + added, run.m_Added, run.m_Removed});
    removed += run.m_Removed.size();
    added += run.m_Added.size();
  }
  return inverse;
}

template <typename Entry>
rlib::Result<> ListDifference<Entry>::CheckRun(size_t i, size_t next,
                                               const std::vector<Entry>& before) const {
  const auto& [at, removed, added] = m_Runs[i];
  const auto which = [&] {
    return "change " + std::to_string(i + 1) + " of " + std::to_string(m_Runs.size());
  };
  const auto where = [&] { return which() + " at entry " + std::to_string(m_Runs[i].m_At); };
  if (removed.empty() && added.empty())
    return rlib::Failure(which() + " removes nothing and adds nothing");
  if (i != 0 && at <= next)
    return rlib::Failure(where() + " is not beyond entry " + std::to_string(next) +
                         ", the end of the one before it");
  if (at > before.size() || removed.size() > before.size() - at)
    return rlib::Failure(where() + " removes " + std::to_string(removed.size()) + ", but the list has " +
                         std::to_string(before.size()));
  for (size_t k = 0; k != removed.size(); ++k)
    if (!(before[at + k] == removed[k]))
      return rlib::Failure(which() + " removes another entry than entry " + std::to_string(at + k) +
                           " of the list");
  return {};
}

template <typename Entry>
rlib::Result<std::vector<Entry>> ListDifference<Entry>::AppliedTo(std::vector<Entry> before) const {
  std::vector<Entry> after;
  size_t next = 0; // before, the first that was not dealt with
  const auto keepUpTo = [&](size_t end) {
    const auto list = std::make_move_iterator(before.begin());
    after.insert(after.end(), list + static_cast<std::ptrdiff_t>(next),
                 list + static_cast<std::ptrdiff_t>(end));
  };
  for (size_t i = 0; i != m_Runs.size(); ++i) {
    const auto& [at, removed, added] = m_Runs[i];
    if (const rlib::Result<> fits = CheckRun(i, next, before); !fits)
      return fits.Why();
    keepUpTo(at);
    after.insert(after.end(), added.begin(), added.end());
    next = at + removed.size();
  }
  keepUpTo(before.size());
  return after;
}

} // namespace brenic::master
