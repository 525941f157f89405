// What a change did to a list, as a value whose size follows the change and not the list.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

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
  std::string WhyNotFor(const std::vector<Entry>& before) const;
};

/// How many removed and added entries a search for the shortest change looks ahead.
inline constexpr size_t k_ListReach = 64;

/// Finds what two lists of small numbers have in common. A class of its own, with the type of the numbers
/// left open, so that a test can count the work. Refers to the lists.
template <typename Id>
class CommonEntries {
public:
  /// A position before and the position after of the same entry.
  using Pair = std::pair<size_t, size_t>;
  using Pairs = std::vector<Pair>;

  /// The ids are less than `kinds`.
  CommonEntries(const std::vector<Id>& before, const std::vector<Id>& after, size_t kinds)
      : m_Before(before), m_After(after), m_Tallies(kinds),
        m_Reached((k_ListReach + 1) * (k_ListReach + 2) / 2) {}

  /// Both positions ascend.
  Pairs Find() { return Find({0, m_Before.size(), 0, m_After.size()}, 0); }

private:
  struct Segment {
    size_t m_Before, m_BeforeEnd, m_After, m_AfterEnd;
    bool IsEmpty() const { return m_Before == m_BeforeEnd || m_After == m_AfterEnd; }
  };
  struct Tally {
    size_t m_Before = 0;
    size_t m_After = 0;
    size_t m_Next = k_Nowhere; // after, the first that has no partner yet
  };
  /// How one more entry removed or added leads to a point.
  struct Step {
    size_t m_Before; // k_Nowhere when nothing leads there
    bool m_Removes;
  };
  static constexpr size_t k_Nowhere = std::numeric_limits<size_t>::max();
  // Each depth is O(n log n), because its segments do not overlap; so a constant depth keeps the whole at
  // that. Few lists lead there; what lies so deep keeps only its common head and tail.
  static constexpr int k_MaxDepth = 8;

  Pairs Find(Segment segment, int depth);
  Pairs FindBetweenDifferent(const Segment& segment, int depth);
  Pairs Around(const Pairs& anchors, const Segment& segment, int depth);
  bool Walk(Segment segment, Pairs& pairs);
  bool WalkAhead(Segment& segment, Pairs& pairs);
  Step StepTo(size_t edits, size_t removed, const Segment& segment) const;
  void TraceBack(size_t edits, size_t removed, const Segment& segment, Pairs& pairs) const;
  Pairs Unique(const Segment& segment);
  Pairs Occurrences(const Segment& segment);
  static Pairs LongestAscending(const Pairs& pairs);

  size_t& Reached(size_t edits, size_t removed) { return m_Reached[edits * (edits + 1) / 2 + removed]; }
  size_t Reached(size_t edits, size_t removed) const { return m_Reached[edits * (edits + 1) / 2 + removed]; }

  const std::vector<Id>& m_Before;
  const std::vector<Id>& m_After;
  std::vector<Tally> m_Tallies; // by id; all as at first between two uses
  // Row by row of WalkAhead, how far into the segment before so many edits lead, by how many of them remove.
  std::vector<size_t> m_Reached;
};

template <typename Id>
auto CommonEntries<Id>::Find(Segment segment, int depth) -> Pairs {
  Pairs pairs;
  while (!segment.IsEmpty() && m_Before[segment.m_Before] == m_After[segment.m_After])
    pairs.emplace_back(segment.m_Before, segment.m_After), ++segment.m_Before, ++segment.m_After;
  const size_t end = segment.m_BeforeEnd;
  while (!segment.IsEmpty() && m_Before[segment.m_BeforeEnd - 1] == m_After[segment.m_AfterEnd - 1])
    --segment.m_BeforeEnd, --segment.m_AfterEnd;

  if (!segment.IsEmpty() && depth < k_MaxDepth) {
    const Pairs inner = FindBetweenDifferent(segment, depth);
    pairs.insert(pairs.end(), inner.begin(), inner.end());
  }

  for (size_t i = segment.m_BeforeEnd; i != end; ++i)
    pairs.emplace_back(i, segment.m_AfterEnd + (i - segment.m_BeforeEnd));
  return pairs;
}

/// For a segment that begins and ends with a difference.
template <typename Id>
auto CommonEntries<Id>::FindBetweenDifferent(const Segment& segment, int depth) -> Pairs {
  const Pairs occurrences = Occurrences(segment);
  Pairs unique = Unique(segment);
  const bool nothingRepeats = unique.size() == occurrences.size();
  unique = LongestAscending(unique);
  if (nothingRepeats)
    return unique; // as many as there can be

  // Each way finds what another misses, so the one that keeps most is taken. The walk sees no farther than
  // its reach: it passes scattered changes of any lists and loses its way at large ones. Entries that stand
  // out find it there, unless they moved themselves; then it is the order within each kind that stayed.
  Pairs best;
  if (Walk(segment, best))
    return best;
  best = Around(best, segment, k_MaxDepth);
  const auto take = [&](const Pairs& anchors, int anchorsDepth) {
    Pairs found = Around(anchors, segment, anchorsDepth);
    if (found.size() > best.size())
      best = std::move(found);
  };
  // Only one way goes deeper, lest the work double with each depth.
  take(LongestAscending(occurrences), unique.empty() ? depth + 1 : k_MaxDepth);
  if (!unique.empty())
    take(unique, depth + 1);
  return best;
}

/// The anchors, and what is found between them.
template <typename Id>
auto CommonEntries<Id>::Around(const Pairs& anchors, const Segment& segment, int depth) -> Pairs {
  Pairs pairs;
  Segment gap = segment;
  const auto fill = [&](size_t beforeEnd, size_t afterEnd) {
    gap.m_BeforeEnd = beforeEnd;
    gap.m_AfterEnd = afterEnd;
    if (!gap.IsEmpty()) {
      const Pairs inner = Find(gap, depth);
      pairs.insert(pairs.end(), inner.begin(), inner.end());
    }
  };
  for (const auto& [before, after] : anchors) {
    fill(before, after);
    pairs.emplace_back(before, after);
    gap.m_Before = before + 1;
    gap.m_After = after + 1;
  }
  fill(segment.m_BeforeEnd, segment.m_AfterEnd);
  return pairs;
}

/// True when one look ahead saw the end: then the pairs are as many as there can be.
template <typename Id>
bool CommonEntries<Id>::Walk(Segment segment, Pairs& pairs) {
  if (WalkAhead(segment, pairs))
    return true;
  while (!WalkAhead(segment, pairs))
    ;
  return false;
}

/// Follows the shortest change for up to k_ListReach edits, and then whichever path came farthest. Moves the
/// beginning of the segment there; true when that is its end. Takes some k_ListReach steps for each position
/// that it moves by: there are twice as many ways to differ in removed less added, and each compares a
/// position only once.
template <typename Id>
bool CommonEntries<Id>::WalkAhead(Segment& segment, Pairs& pairs) {
  const size_t beforeSize = segment.m_BeforeEnd - segment.m_Before;
  const size_t afterSize = segment.m_AfterEnd - segment.m_After;
  size_t farthest = 0;
  size_t farthestRemoved = 0;
  for (size_t edits = 0;; ++edits) {
    farthest = 0;
    for (size_t removed = 0; removed <= edits; ++removed) {
      size_t before = StepTo(edits, removed, segment).m_Before;
      Reached(edits, removed) = before;
      if (before == k_Nowhere)
        continue;
      size_t after = before - removed + (edits - removed);
      while (before < beforeSize && after < afterSize &&
             m_Before[segment.m_Before + before] == m_After[segment.m_After + after])
        ++before, ++after;
      Reached(edits, removed) = before;
      if (before + after > farthest) {
        farthest = before + after;
        farthestRemoved = removed;
      }
    }
    const bool arrived = farthest == beforeSize + afterSize;
    if (arrived || edits == k_ListReach) {
      TraceBack(edits, farthestRemoved, segment, pairs);
      const size_t before = Reached(edits, farthestRemoved);
      segment.m_Before += before;
      segment.m_After += farthest - before;
      return arrived;
    }
  }
}

template <typename Id>
auto CommonEntries<Id>::StepTo(size_t edits, size_t removed, const Segment& segment) const -> Step {
  if (edits == 0)
    return {0, false};
  Step step{k_Nowhere, false};
  if (removed < edits) {
    const size_t before = Reached(edits - 1, removed);
    const size_t added = edits - 1 - removed;
    if (before != k_Nowhere && before - removed + added < segment.m_AfterEnd - segment.m_After)
      step = {before, false};
  }
  if (removed > 0) {
    const size_t before = Reached(edits - 1, removed - 1);
    if (before != k_Nowhere && before < segment.m_BeforeEnd - segment.m_Before &&
        (step.m_Before == k_Nowhere || before + 1 > step.m_Before))
      step = {before + 1, true};
  }
  return step;
}

template <typename Id>
void CommonEntries<Id>::TraceBack(size_t edits, size_t removed, const Segment& segment, Pairs& pairs) const {
  const size_t first = pairs.size();
  for (;; --edits) {
    const Step step = StepTo(edits, removed, segment);
    for (size_t before = Reached(edits, removed); before != step.m_Before; --before) {
      const size_t after = before - removed + (edits - removed);
      pairs.emplace_back(segment.m_Before + before - 1, segment.m_After + after - 1);
    }
    if (edits == 0)
      break;
    removed -= step.m_Removes;
  }
  std::reverse(pairs.begin() + static_cast<std::ptrdiff_t>(first), pairs.end());
}

/// The entries that stand once in either segment.
template <typename Id>
auto CommonEntries<Id>::Unique(const Segment& segment) -> Pairs {
  for (size_t i = segment.m_Before; i != segment.m_BeforeEnd; ++i)
    ++m_Tallies[m_Before[i]].m_Before;
  for (size_t i = segment.m_After; i != segment.m_AfterEnd; ++i) {
    Tally& tally = m_Tallies[m_After[i]];
    ++tally.m_After;
    tally.m_Next = i;
  }
  Pairs pairs;
  for (size_t i = segment.m_Before; i != segment.m_BeforeEnd; ++i) {
    Tally& tally = m_Tallies[m_Before[i]];
    if (tally.m_Before == 1 && tally.m_After == 1)
      pairs.emplace_back(i, tally.m_Next);
    tally = Tally();
  }
  for (size_t i = segment.m_After; i != segment.m_AfterEnd; ++i)
    m_Tallies[m_After[i]] = Tally();
  return pairs;
}

/// The first of a kind before with the first after, the second with the second, and so on.
template <typename Id>
auto CommonEntries<Id>::Occurrences(const Segment& segment) -> Pairs {
  std::vector<size_t> following(segment.m_AfterEnd - segment.m_After);
  for (size_t i = segment.m_AfterEnd; i-- != segment.m_After;)
    following[i - segment.m_After] = std::exchange(m_Tallies[m_After[i]].m_Next, i);
  Pairs pairs;
  for (size_t i = segment.m_Before; i != segment.m_BeforeEnd; ++i)
    if (size_t& next = m_Tallies[m_Before[i]].m_Next; next != k_Nowhere) {
      pairs.emplace_back(i, next);
      next = following[next - segment.m_After];
    }
  for (size_t i = segment.m_After; i != segment.m_AfterEnd; ++i)
    m_Tallies[m_After[i]] = Tally();
  return pairs;
}

/// As many of the pairs, which ascend before, as also ascend after.
template <typename Id>
auto CommonEntries<Id>::LongestAscending(const Pairs& pairs) -> Pairs {
  std::vector<size_t>
      last; // by length less one: the pair with the least position after that ends such a sequence
  std::vector<size_t> previous(pairs.size());
  for (size_t i = 0; i != pairs.size(); ++i) {
    const auto place =
        std::lower_bound(last.begin(), last.end(), pairs[i].second,
                         [&](size_t pair, size_t after) { return pairs[pair].second < after; });
    previous[i] = place == last.begin() ? k_Nowhere : *(place - 1);
    if (place == last.end())
      last.push_back(i);
    else
      *place = i;
  }
  Pairs ascending(last.size());
  size_t pair = last.empty() ? k_Nowhere : last.back();
  for (size_t i = last.size(); i-- != 0; pair = previous[pair])
    ascending[i] = pairs[pair];
  return ascending;
}

/// A list with numbers for entries. Only those that stand in both lists are in it: no others can stay, and
/// without them a change that brings many new entries looks no longer than it is.
struct NumberedList {
  std::vector<uint32_t> m_Ids;
  std::vector<size_t> m_Positions; // in the list that it was made from
};

/// Numbers the entries of both lists from position `begin` to `beforeEnd` and `afterEnd`. Gives how many
/// kinds.
template <typename Entry>
size_t NumberEntries(const std::vector<Entry>& before, size_t beforeEnd, const std::vector<Entry>& after,
                     size_t afterEnd, size_t begin, NumberedList& numberedBefore,
                     NumberedList& numberedAfter) {
  struct Place {
    const Entry* m_Entry;
    size_t m_Position;
    bool m_IsAfter;
  };
  std::vector<Place> places;
  places.reserve(beforeEnd - begin + afterEnd - begin);
  for (size_t i = begin; i != beforeEnd; ++i)
    places.push_back({&before[i], i, false});
  for (size_t i = begin; i != afterEnd; ++i)
    places.push_back({&after[i], i, true});
  std::sort(places.begin(), places.end(),
            [](const Place& a, const Place& b) { return *a.m_Entry < *b.m_Entry; });

  constexpr uint32_t k_Alone = std::numeric_limits<uint32_t>::max();
  std::vector<uint32_t> idsBefore(beforeEnd - begin, k_Alone);
  std::vector<uint32_t> idsAfter(afterEnd - begin, k_Alone);
  uint32_t kinds = 0;
  for (auto first = places.begin(), end = first; first != places.end(); first = end) {
    bool in[2] = {false, false};
    for (; end != places.end() && (end == first || *end->m_Entry == *first->m_Entry); ++end)
      in[end->m_IsAfter] = true;
    if (!in[0] || !in[1])
      continue;
    for (auto place = first; place != end; ++place)
      (place->m_IsAfter ? idsAfter : idsBefore)[place->m_Position - begin] = kinds;
    ++kinds;
  }

  const auto keep = [begin](const std::vector<uint32_t>& ids, NumberedList& list) {
    for (size_t i = 0; i != ids.size(); ++i)
      if (ids[i] != k_Alone) {
        list.m_Ids.push_back(ids[i]);
        list.m_Positions.push_back(begin + i);
      }
  };
  keep(idsBefore, numberedBefore);
  keep(idsAfter, numberedAfter);
  return kinds;
}

template <typename Entry>
auto ListDifference<Entry>::Between(const std::vector<Entry>& before, const std::vector<Entry>& after)
    -> ListDifference {
  size_t beforeEnd = before.size();
  size_t afterEnd = after.size();
  size_t begin = 0;
  while (begin < beforeEnd && begin < afterEnd && before[begin] == after[begin])
    ++begin;
  while (beforeEnd > begin && afterEnd > begin && before[beforeEnd - 1] == after[afterEnd - 1])
    --beforeEnd, --afterEnd;

  NumberedList from;
  NumberedList to;
  const size_t kinds = NumberEntries(before, beforeEnd, after, afterEnd, begin, from, to);

  ListDifference difference;
  size_t nextBefore = begin;
  size_t nextAfter = begin;
  const auto endRun = [&](size_t beforeHere, size_t afterHere) {
    const auto copy = [](const std::vector<Entry>& list, size_t first, size_t end) {
      const auto start = list.begin();
      return std::vector<Entry>(start + static_cast<std::ptrdiff_t>(first),
                                start + static_cast<std::ptrdiff_t>(end));
    };
    if (beforeHere != nextBefore || afterHere != nextAfter)
      difference.m_Runs.push_back(
          {nextBefore, copy(before, nextBefore, beforeHere), copy(after, nextAfter, afterHere)});
    nextBefore = beforeHere + 1;
    nextAfter = afterHere + 1;
  };
  for (const auto& [i, j] : CommonEntries<uint32_t>(from.m_Ids, to.m_Ids, kinds).Find())
    endRun(from.m_Positions[i], to.m_Positions[j]);
  endRun(beforeEnd, afterEnd);
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

/// Empty when the runs fit.
template <typename Entry>
std::string ListDifference<Entry>::WhyNotFor(const std::vector<Entry>& before) const {
  size_t end = 0; // of the run before this one
  for (size_t i = 0; i != m_Runs.size(); ++i) {
    const auto& run = m_Runs[i];
    const size_t size = run.m_Removed.size();
    const std::string which = "change " + std::to_string(i + 1) + " of " + std::to_string(m_Runs.size());
    const std::string where = " at entry " + std::to_string(run.m_At);
    if (run.m_Removed.empty() && run.m_Added.empty())
      return which + " removes nothing and adds nothing";
    if (i != 0 && run.m_At <= end)
      return which + where + " is not beyond entry " + std::to_string(end) + ", the end of the one before it";
    if (run.m_At > before.size() || size > before.size() - run.m_At)
      return which + where + " removes " + std::to_string(size) + ", but the list has " +
             std::to_string(before.size());
    for (size_t k = 0; k != size; ++k)
      if (!(before[run.m_At + k] == run.m_Removed[k]))
        return which + " removes another entry than entry " + std::to_string(run.m_At + k) + " of the list";
    end = run.m_At + size;
  }
  return {};
}

template <typename Entry>
rlib::Result<std::vector<Entry>> ListDifference<Entry>::AppliedTo(std::vector<Entry> before) const {
  if (const std::string reason = WhyNotFor(before); !reason.empty())
    return rlib::Failure(reason);
  size_t size = before.size();
  for (const auto& run : m_Runs)
    size = size - run.m_Removed.size() + run.m_Added.size();

  std::vector<Entry> after;
  after.reserve(size);
  size_t next = 0;
  const auto keepUpTo = [&](size_t end) {
    for (; next != end; ++next)
      after.push_back(std::move(before[next]));
  };
  for (const auto& run : m_Runs) {
    keepUpTo(run.m_At);
    after.insert(after.end(), run.m_Added.begin(), run.m_Added.end());
    next += run.m_Removed.size();
  }
  keepUpTo(before.size());
  return after;
}

} // namespace brenic::master
