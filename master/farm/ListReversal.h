// Takes back what changes did to a list that others have changed since.
#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <unordered_map>

#include "farm/ListDifference.h"

namespace brenic::master {

/// Goes from the present into the past, change by change, with two lists: the past one, as the changes left
/// it, and the one that there is to be, in which only some of them are taken back.
///
/// `Traits` says what belongs together, as the entries of one user: Traits::Key(entry), and what only stands
/// between entries, as an empty one: Traits::IsFiller(entry), which is nobody's.
template <typename Element, typename Traits>
class ListReversal {
public:
  using Difference = ListDifference<Element>;
  using Key = std::decay_t<decltype(Traits::Key(std::declval<Element>()))>;

  explicit ListReversal(const std::vector<Element>& present) : m_Past(Numbers(present)), m_Result(m_Past) {}

  /// Leaves the change as it is; it is the newest that was not passed or reverted yet. Throws Exception*
  /// when it does not lead to the past list.
  void Pass(const Difference& change) { m_Past = Before(change); }

  /// The past list is this one from now on.
  void SetPast(const std::vector<Element>& list) { m_Past = Numbers(list); }
  void SetResult(const std::vector<Element>& list) { m_Result = Numbers(list); }

  /// Passes the change, and takes it back in the result. What it removed returns behind the nearest of its
  /// predecessors that is there, else to the beginning. Where what belongs to a key is not as the change left
  /// it, nothing is taken back, and these keys are returned.
  std::vector<Key> Revert(const Difference& change);

  std::vector<Element> Past() const { return Elements(m_Past); }
  std::vector<Element> Result() const { return Elements(m_Result); }

private:
  using List = std::vector<uint32_t>; // numbers, the same for equal entries

  uint32_t Number(const Element& element);
  List Numbers(const std::vector<Element>& list);
  std::vector<Element> Elements(const List& list) const;
  List Before(const Difference& change);
  std::vector<Key> OtherKeys(const Difference& change);
  std::vector<size_t> PlacesInResult() const;
  void TakeBack(const Difference& change);

  static constexpr size_t k_Nowhere = static_cast<size_t>(-1);

  std::map<Element, uint32_t> m_Numbers;
  std::vector<const Element*> m_Elements; // by number
  List m_Past;
  List m_Result;
};

template <typename Element, typename Traits>
uint32_t ListReversal<Element, Traits>::Number(const Element& element) {
  const auto [entry, isNew] = m_Numbers.emplace(element, static_cast<uint32_t>(m_Elements.size()));
  if (isNew)
    m_Elements.push_back(&entry->first);
  return entry->second;
}

template <typename Element, typename Traits>
auto ListReversal<Element, Traits>::Numbers(const std::vector<Element>& list) -> List {
  List numbers;
  numbers.reserve(list.size());
  for (const Element& element : list)
    numbers.push_back(Number(element));
  return numbers;
}

template <typename Element, typename Traits>
std::vector<Element> ListReversal<Element, Traits>::Elements(const List& list) const {
  std::vector<Element> elements;
  elements.reserve(list.size());
  for (const uint32_t number : list)
    elements.push_back(*m_Elements[number]);
  return elements;
}

template <typename Element, typename Traits>
auto ListReversal<Element, Traits>::Before(const Difference& change) -> List {
  ListDifference<uint32_t> numbered;
  for (const auto& run : change.m_Runs)
    numbered.m_Runs.push_back({run.m_At, Numbers(run.m_Removed), Numbers(run.m_Added)});
  auto before = numbered.Inverse().AppliedTo(m_Past);
  if (!before)
    throw new Exception("The audit trail does not lead to what the Master holds: " + before.Reason());
  return std::move(*before);
}

template <typename Element, typename Traits>
auto ListReversal<Element, Traits>::Revert(const Difference& change) -> std::vector<Key> {
  if (m_Result == m_Past) {
    m_Result = m_Past = Before(change);
    return {};
  }
  std::vector<Key> others = OtherKeys(change);
  if (others.empty())
    TakeBack(change);
  Pass(change);
  return others;
}

/// The keys that the change concerns and of which the result does not hold what the past list does.
template <typename Element, typename Traits>
auto ListReversal<Element, Traits>::OtherKeys(const Difference& change) -> std::vector<Key> {
  struct Held {
    std::vector<uint32_t> m_Past, m_Result;
  };
  std::map<Key, Held> held;
  for (const auto& run : change.m_Runs) {
    for (const auto* const list : {&run.m_Removed, &run.m_Added}) {
      for (const Element& element : *list) {
        Number(element);
        if (!Traits::IsFiller(element))
          held[Traits::Key(element)];
      }
    }
  }
  std::vector<Held*> byNumber(m_Elements.size());
  for (size_t number = 0; number != m_Elements.size(); ++number) {
    const auto found = held.find(Traits::Key(*m_Elements[number]));
    byNumber[number] = found != held.end() ? &found->second : nullptr;
  }
  for (const uint32_t number : m_Past)
    if (byNumber[number])
      byNumber[number]->m_Past.push_back(number);
  for (const uint32_t number : m_Result)
    if (byNumber[number])
      byNumber[number]->m_Result.push_back(number);
  std::vector<Key> others;
  for (auto& [key, lists] : held) {
    std::sort(lists.m_Past.begin(), lists.m_Past.end());
    std::sort(lists.m_Result.begin(), lists.m_Result.end());
    if (lists.m_Past != lists.m_Result)
      others.push_back(key);
  }
  return others;
}

/// Where each entry of the past list stands in the result: what stayed in order first, then any that is
/// equal.
template <typename Element, typename Traits>
std::vector<size_t> ListReversal<Element, Traits>::PlacesInResult() const {
  std::vector<size_t> places(m_Past.size(), k_Nowhere);
  std::vector<bool> taken(m_Result.size());
  for (const auto& [past, result] : FindCommonEntries(m_Past, m_Result, m_Elements.size()).m_Pairs) {
    places[past] = result;
    taken[result] = true;
  }
  std::unordered_map<uint32_t, std::deque<size_t>> free;
  for (size_t i = 0; i != m_Result.size(); ++i)
    if (!taken[i])
      free[m_Result[i]].push_back(i);
  for (size_t i = 0; i != m_Past.size(); ++i) {
    const auto found = places[i] == k_Nowhere ? free.find(m_Past[i]) : free.end();
    if (found == free.end() || found->second.empty())
      continue;
    places[i] = found->second.front();
    found->second.pop_front();
  }
  return places;
}

template <typename Element, typename Traits>
void ListReversal<Element, Traits>::TakeBack(const Difference& change) {
  const std::vector<size_t> places = PlacesInResult();
  std::vector<bool> goes(m_Result.size());
  std::map<size_t, List> returns; // behind the entry of the result; k_Nowhere: to the beginning
  size_t past = 0;
  size_t removed = 0; // by the change, before its run in hand
  size_t added = 0;
  size_t behind = k_Nowhere;
  const auto keepUpTo = [&](size_t end) {
    for (; past != end; ++past)
      if (places[past] != k_Nowhere)
        behind = places[past];
  };
  for (const auto& run : change.m_Runs) {
    keepUpTo(run.m_At - removed + added);
    for (const Element& element : run.m_Removed)
      if (!Traits::IsFiller(element))
        returns[behind].push_back(Number(element));
    for (const Element& element : run.m_Added) {
      if (!Traits::IsFiller(element))
        goes[places[past]] = true; // it is there, since each key has what it had
      ++past;
    }
    removed += run.m_Removed.size();
    added += run.m_Added.size();
  }

  List result = returns[k_Nowhere];
  for (size_t i = 0; i != m_Result.size(); ++i) {
    if (!goes[i])
      result.push_back(m_Result[i]);
    if (const auto here = returns.find(i); here != returns.end())
      result.insert(result.end(), here->second.begin(), here->second.end());
  }
  m_Result = std::move(result);
}

} // namespace brenic::master
