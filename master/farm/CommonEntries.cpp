#include "farm/CommonEntries.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace brenic::master {
namespace {

using Pairs = std::vector<std::pair<size_t, size_t>>;

constexpr size_t k_Nowhere = std::numeric_limits<size_t>::max();

struct Segment {
  size_t m_Before, m_BeforeEnd, m_After, m_AfterEnd;
  bool IsEmpty() const { return m_Before == m_BeforeEnd || m_After == m_AfterEnd; }
};

/// A list without the entries that stand in it alone: they cannot stay, and without them a change that brings
/// many new entries looks no longer than it is.
struct Shared {
  std::vector<uint32_t> m_Ids;
  std::vector<size_t> m_Positions; // in the list that it was made from

  Shared(const std::vector<uint32_t>& list, const std::vector<uint32_t>& other, size_t kinds) {
    std::vector<bool> isInOther(kinds);
    for (const uint32_t id : other)
      isInOther[id] = true;
    for (size_t i = 0; i != list.size(); ++i)
      if (isInOther[list[i]]) {
        m_Ids.push_back(list[i]);
        m_Positions.push_back(i);
      }
  }
};

class Search {
public:
  Search(const std::vector<uint32_t>& before, const std::vector<uint32_t>& after, size_t kinds)
      : m_Before(before), m_After(after), m_Kinds(kinds),
        m_Reached((k_ListReach + 1) * (k_ListReach + 2) / 2) {}

  Pairs Find();
  size_t Steps() const { return m_Steps; }

private:
  /// How one more entry removed or added leads to a point.
  struct Step {
    size_t m_Before; // k_Nowhere when nothing leads there
    bool m_Removes;
  };

  Pairs Best();
  template <typename Fill>
  Pairs Around(const Pairs& anchors, Fill fill);
  void TakeEnds(Segment gap, Pairs& pairs);
  bool Walk(Segment segment, Pairs& pairs);
  bool WalkAhead(Segment& segment, Pairs& pairs);
  Step StepTo(size_t edits, size_t removed, const Segment& segment) const;
  void TraceBack(size_t edits, size_t removed, const Segment& segment, Pairs& pairs) const;
  Pairs Occurrences(bool onlyUnique);
  Pairs LongestAscending(const Pairs& pairs);

  Segment Whole() const { return {0, m_Before.size(), 0, m_After.size()}; }
  bool IsSame(size_t before, size_t after) {
    ++m_Steps;
    return m_Before[before] == m_After[after];
  }
  size_t& Reached(size_t edits, size_t removed) { return m_Reached[edits * (edits + 1) / 2 + removed]; }
  size_t Reached(size_t edits, size_t removed) const { return m_Reached[edits * (edits + 1) / 2 + removed]; }

  const std::vector<uint32_t>& m_Before;
  const std::vector<uint32_t>& m_After;
  const size_t m_Kinds;
  // Row by row of WalkAhead, how far into the segment before so many edits lead, by how many of them remove.
  std::vector<size_t> m_Reached;
  size_t m_Steps = 0;
};

Pairs Search::Find() {
  return Around(Best(), [this](const Segment& gap, Pairs& pairs) { TakeEnds(gap, pairs); });
}

/// Each way finds what another misses, so the one that keeps most is taken. The walk sees no farther than its
/// reach: it passes scattered changes of any lists and loses its way at large ones. Entries that stand out
/// find it there, unless they moved themselves; then it is the order within each kind that stayed.
Pairs Search::Best() {
  Pairs walked;
  if (Walk(Whole(), walked))
    return walked;
  const auto walk = [this](const Segment& gap, Pairs& pairs) { Walk(gap, pairs); };
  const Pairs unique = Occurrences(true);
  const Pairs occurrences = Occurrences(false);
  Pairs best = Around(LongestAscending(unique), walk);
  if (unique.size() == occurrences.size())
    return best; // nothing repeats: as many as there can be
  if (walked.size() > best.size())
    best = std::move(walked);
  Pairs ordered = Around(LongestAscending(occurrences), walk);
  return ordered.size() > best.size() ? ordered : best;
}

/// The anchors, and what fill(gap, pairs) appends for each gap between them.
template <typename Fill>
Pairs Search::Around(const Pairs& anchors, Fill fill) {
  Pairs pairs;
  Segment gap = Whole();
  for (const auto& [before, after] : anchors) {
    fill(Segment{gap.m_Before, before, gap.m_After, after}, pairs);
    pairs.emplace_back(before, after);
    gap.m_Before = before + 1;
    gap.m_After = after + 1;
  }
  fill(gap, pairs);
  return pairs;
}

/// What a gap begins or ends with on both sides. A walk leaves such entries where it turned too early.
void Search::TakeEnds(Segment gap, Pairs& pairs) {
  while (!gap.IsEmpty() && IsSame(gap.m_Before, gap.m_After))
    pairs.emplace_back(gap.m_Before++, gap.m_After++);
  const size_t end = gap.m_BeforeEnd;
  while (!gap.IsEmpty() && IsSame(gap.m_BeforeEnd - 1, gap.m_AfterEnd - 1))
    --gap.m_BeforeEnd, --gap.m_AfterEnd;
  for (size_t i = gap.m_BeforeEnd; i != end; ++i)
    pairs.emplace_back(i, gap.m_AfterEnd + (i - gap.m_BeforeEnd));
}

/// True when one look ahead saw the end: then the pairs are as many as there can be.
bool Search::Walk(Segment segment, Pairs& pairs) {
  if (segment.IsEmpty() || WalkAhead(segment, pairs))
    return true;
  while (!segment.IsEmpty() && !WalkAhead(segment, pairs))
    ;
  return false;
}

/// Follows the shortest change for up to k_ListReach edits, and then whichever path came farthest. Moves the
/// beginning of the segment there; true when that is its end. Takes some k_ListReach steps for each position
/// that it moves by: there are twice as many ways to differ in removed less added, and each compares a
/// position only once.
bool Search::WalkAhead(Segment& segment, Pairs& pairs) {
  const size_t beforeSize = segment.m_BeforeEnd - segment.m_Before;
  const size_t afterSize = segment.m_AfterEnd - segment.m_After;
  for (size_t edits = 0;; ++edits) {
    size_t farthest = 0;
    size_t farthestRemoved = 0;
    for (size_t removed = 0; removed <= edits; ++removed) {
      ++m_Steps;
      size_t before = StepTo(edits, removed, segment).m_Before;
      if (before != k_Nowhere) {
        size_t after = before - removed + (edits - removed);
        while (before < beforeSize && after < afterSize &&
               IsSame(segment.m_Before + before, segment.m_After + after))
          ++before, ++after;
        if (before + after > farthest) {
          farthest = before + after;
          farthestRemoved = removed;
        }
      }
      Reached(edits, removed) = before;
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

auto Search::StepTo(size_t edits, size_t removed, const Segment& segment) const -> Step {
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

void Search::TraceBack(size_t edits, size_t removed, const Segment& segment, Pairs& pairs) const {
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

/// The first of a kind before with the first after, the second with the second, and so on; or only what
/// stands once in either list.
Pairs Search::Occurrences(bool onlyUnique) {
  m_Steps += m_Before.size() + m_After.size();
  struct Kind {
    size_t m_Before = 0;
    size_t m_After = 0;
    size_t m_Next = k_Nowhere; // after, the first that has no partner yet
  };
  std::vector<Kind> kinds(m_Kinds);
  std::vector<size_t> following(m_After.size());
  for (const uint32_t id : m_Before)
    ++kinds[id].m_Before;
  for (size_t i = m_After.size(); i-- != 0;) {
    Kind& kind = kinds[m_After[i]];
    ++kind.m_After;
    following[i] = std::exchange(kind.m_Next, i);
  }
  Pairs pairs;
  for (size_t i = 0; i != m_Before.size(); ++i) {
    Kind& kind = kinds[m_Before[i]];
    if (kind.m_Next == k_Nowhere || (onlyUnique && (kind.m_Before != 1 || kind.m_After != 1)))
      continue;
    pairs.emplace_back(i, kind.m_Next);
    kind.m_Next = following[kind.m_Next];
  }
  return pairs;
}

/// As many of the pairs, which ascend before, as also ascend after.
Pairs Search::LongestAscending(const Pairs& pairs) {
  // By length less one: the pair with the least position after that ends such a sequence.
  std::vector<size_t> last;
  std::vector<size_t> previous(pairs.size());
  for (size_t i = 0; i != pairs.size(); ++i) {
    const auto place =
        std::lower_bound(last.begin(), last.end(), pairs[i].second, [&](size_t pair, size_t after) {
          ++m_Steps;
          return pairs[pair].second < after;
        });
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

} // namespace

CommonEntries FindCommonEntries(const std::vector<uint32_t>& before, const std::vector<uint32_t>& after,
                                size_t kinds) {
  const Shared from(before, after, kinds);
  const Shared to(after, before, kinds);
  Search search(from.m_Ids, to.m_Ids, kinds);
  CommonEntries common{search.Find(), search.Steps()};
  for (auto& [i, j] : common.m_Pairs) {
    i = from.m_Positions[i];
    j = to.m_Positions[j];
  }
  return common;
}

} // namespace brenic::master
