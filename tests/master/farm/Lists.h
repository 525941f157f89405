// Lists of numbers to compare, and random edits of them.
#pragma once

#include <cstddef>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace brenic::master {

using Numbers = std::vector<int>;

inline Numbers Ascending(int size) {
  Numbers list(static_cast<size_t>(size));
  std::iota(list.begin(), list.end(), 0);
  return list;
}

/// 0, 1, 0, 2, 0, 3, ...
inline Numbers Interleaved(int size) {
  Numbers list;
  for (int i = 1; i <= size; ++i) {
    list.push_back(0);
    list.push_back(i);
  }
  return list;
}

inline Numbers Repeated(const Numbers& period, size_t size) {
  Numbers list;
  while (list.size() < size)
    list.push_back(period[list.size() % period.size()]);
  return list;
}

/// Random values and edits; the same in every run.
class Dice {
public:
  explicit Dice(unsigned seed) : m_Engine(seed) {}
  /// 0 to `limit` - 1.
  size_t Roll(size_t limit) { return m_Engine() % limit; }
  Numbers List(size_t size, int alphabet) {
    Numbers list(size);
    for (int& entry : list)
      entry = static_cast<int>(Roll(static_cast<size_t>(alphabet)));
    return list;
  }
  Numbers Shuffled(Numbers list) {
    for (size_t i = list.size(); i > 1; --i)
      std::swap(list[i - 1], list[Roll(i)]);
    return list;
  }
  /// Inserts, removes or replaces one entry.
  void Edit(Numbers& list, int entry) {
    const size_t kind = list.empty() ? 0 : Roll(3);
    const auto at = list.begin() + static_cast<std::ptrdiff_t>(Roll(list.size() + (kind == 0)));
    if (kind == 0)
      list.insert(at, entry);
    else if (kind == 1)
      list.erase(at);
    else
      *at = entry;
  }

private:
  std::mt19937 m_Engine;
};

} // namespace brenic::master
