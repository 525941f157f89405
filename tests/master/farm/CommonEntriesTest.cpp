#include "farm/CommonEntries.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "farm/ListDifference.h"
#include "farm/Lists.h"

namespace brenic::master {
namespace {

CommonEntries Find(const Numbers& before, const Numbers& after) {
  int kinds = 0;
  for (const Numbers& list : {before, after})
    for (const int entry : list)
      kinds = std::max(kinds, entry + 1);
  return FindCommonEntries({before.begin(), before.end()}, {after.begin(), after.end()},
                           static_cast<size_t>(kinds));
}

struct ChangeSize {
  size_t m_Removed = 0;
  size_t m_Added = 0;
  size_t Sum() const { return m_Removed + m_Added; }
};

/// Checks the pairs, and counts the entries without partner.
ChangeSize ChangeBetween(const Numbers& before, const Numbers& after) {
  const auto pairs = Find(before, after).m_Pairs;
  for (size_t k = 0; k != pairs.size(); ++k) {
    const auto [i, j] = pairs[k];
    EXPECT_EQ(before.at(i), after.at(j));
    if (k != 0) {
      EXPECT_LT(pairs[k - 1].first, i);
      EXPECT_LT(pairs[k - 1].second, j);
    }
  }
  return {before.size() - pairs.size(), after.size() - pairs.size()};
}

// Beyond what one look ahead sees, and with nothing that stands out, the number need not be the least; it is
// still no more than the edits themselves remove and add at most.
TEST(CommonEntries, OfManyEditsInRepeatedEntriesLeaveNoMoreThanTheEdits) {
  Dice dice(6);
  for (const int alphabet : {2, 3, 10})
    for (const size_t edits : {100, 300, 1000})
      for (const bool periodic : {true, false}) {
        const Numbers before = periodic ? Repeated(Ascending(alphabet), 20'000) : dice.List(20'000, alphabet);
        Numbers after = before;
        for (size_t i = 0; i != edits; ++i)
          dice.Edit(after, static_cast<int>(dice.Roll(static_cast<size_t>(alphabet))));
        EXPECT_LE(ChangeBetween(before, after).Sum(), 2 * edits)
            << alphabet << ' ' << edits << ' ' << periodic;
      }
}

TEST(CommonEntries, AreTheRepeatedOnesWhenManyUniqueOnesMoveAcrossThem) {
  const Numbers repeated = Repeated({1000, 1001}, 5000);
  Numbers before = Ascending(200);
  Numbers after = repeated;
  before.insert(before.end(), repeated.begin(), repeated.end());
  const Numbers moved = Ascending(200);
  after.insert(after.end(), moved.begin(), moved.end());
  EXPECT_LE(ChangeBetween(before, after).Sum(), 400u);
}

TEST(CommonEntries, AreAllOfTheListBeforeWhenABlockComesIntoEachHalf) {
  Dice dice(7);
  const Numbers before = Ascending(700);
  Numbers after = before;
  const Numbers block = dice.List(300, 5);
  after.insert(after.begin() + 500, block.begin(), block.end());
  after.insert(after.begin() + 100, block.begin(), block.end());
  const ChangeSize size = ChangeBetween(before, after);
  EXPECT_EQ(size.m_Removed, 0u);
  EXPECT_EQ(size.m_Added, 600u);
}

TEST(CommonEntries, OfEditsBetweenUniqueOnesAreFoundBetweenThem) {
  Dice dice(10);
  Numbers before;
  Numbers after;
  for (int i = 0; i != 200; ++i) {
    Numbers repeated = dice.List(20, 3);
    before.push_back(10 + i);
    before.insert(before.end(), repeated.begin(), repeated.end());
    for (int edit = 0; edit != 3; ++edit)
      dice.Edit(repeated, static_cast<int>(dice.Roll(3)));
    after.push_back(10 + i);
    after.insert(after.end(), repeated.begin(), repeated.end());
    if (i % 50 == 25) {
      const Numbers block = dice.List(300, 3);
      after.insert(after.end(), block.begin(), block.end());
    }
  }
  EXPECT_LE(ChangeBetween(before, after).Sum(), 200u * 3 * 2 + 4 * 300);
}

/// Counts what is done with it, as an entry.
class Counted {
public:
  Counted(int value) : m_Value(value) {}
  friend bool operator==(const Counted& a, const Counted& b) {
    ++s_Count;
    return a.m_Value == b.m_Value;
  }
  friend bool operator<(const Counted& a, const Counted& b) {
    ++s_Count;
    return a.m_Value < b.m_Value;
  }

  static size_t s_Count;

private:
  int m_Value;
};
size_t Counted::s_Count = 0;

struct Shape {
  const char* m_Name;
  std::pair<Numbers, Numbers> (*m_Make)(int size); // entries from 0 to 3 * size
};

std::pair<Numbers, Numbers> Blocks(int size) {
  Numbers before(static_cast<size_t>(size), 0);
  before.resize(2 * before.size(), 1);
  return {before, Numbers(before.rbegin(), before.rend())};
}

/// Pairs within pairs, which become unique one level at a time.
void Nest(int first, int size, bool swapped, Numbers& list) {
  if (size < 2) {
    list.push_back(first);
    return;
  }
  list.push_back(first);
  Nest(first + 1, size / 2, swapped, list);
  list.push_back(first + (swapped ? 1 : 0));
  Nest(first + 1, size / 2, !swapped, list);
}

const Shape k_Shapes[] = {
    {"equal entries", [](int size) { return std::pair(Numbers(size, 0), Numbers(size / 2, 0)); }},
    {"alternating",
     [](int size) {
       return std::pair(Repeated({0, 1}, size), Repeated({1, 1, 0}, size));
     }},
    {"two blocks exchanged", Blocks},
    {"shuffled", [](int size) { return std::pair(Ascending(size), Dice(1).Shuffled(Ascending(size))); }},
    {"reversed",
     [](int size) {
       const Numbers list = Ascending(size);
       return std::pair(list, Numbers(list.rbegin(), list.rend()));
     }},
    {"random of 2", [](int size) { return std::pair(Dice(1).List(size, 2), Dice(2).List(size, 2)); }},
    {"random of 50", [](int size) { return std::pair(Dice(1).List(size, 50), Dice(2).List(size, 50)); }},
    {"random of as many",
     [](int size) { return std::pair(Dice(1).List(size, size), Dice(2).List(size, size)); }},
    {"interleaved, shuffled",
     [](int size) { return std::pair(Interleaved(size / 2), Dice(1).Shuffled(Interleaved(size / 2))); }},
    {"edited in many places",
     [](int size) {
       Numbers after = Repeated({0, 1, 2}, size);
       Dice dice(1);
       for (int i = 0; i != size / 10; ++i)
         dice.Edit(after, i % 3);
       return std::pair(Repeated({0, 1, 2}, size), after);
     }},
    {"nested",
     [](int size) {
       std::pair<Numbers, Numbers> lists;
       Nest(0, size / 2, false, lists.first);
       Nest(0, size / 2, true, lists.second);
       return lists;
     }},
    {"nothing in common",
     [](int size) {
       Numbers after = Ascending(size);
       for (int& entry : after)
         entry += 2 * size;
       return std::pair(Ascending(size), after);
     }},
};

// From 2000 to 16,000 entries n log n grows by 10.2, n * sqrt(n) by 22.6, n * n by 64.
constexpr double k_MostGrowth = 12;

size_t SearchWork(const Shape& shape, int size) {
  const auto [before, after] = shape.m_Make(size);
  return Find(before, after).m_Steps;
}

size_t EntryWork(const Shape& shape, int size) {
  const auto [from, to] = shape.m_Make(size);
  const std::vector<Counted> before(from.begin(), from.end());
  const std::vector<Counted> after(to.begin(), to.end());
  Counted::s_Count = 0;
  const auto difference = ListDifference<Counted>::Between(before, after);
  EXPECT_TRUE(difference.AppliedTo(before));
  return Counted::s_Count;
}

TEST(ListDifference, TakesComparisonsThatGrowLikeSorting) {
  for (const Shape& shape : k_Shapes) {
    const size_t small = EntryWork(shape, 2000);
    const size_t large = EntryWork(shape, 16'000);
    EXPECT_LE(static_cast<double>(large), k_MostGrowth * static_cast<double>(small)) << shape.m_Name;
    EXPECT_LE(large, 2'000'000u) << shape.m_Name; // 2 n lg 2n, and the linear steps
  }
}

TEST(CommonEntries, AreFoundInWorkThatGrowsLikeSorting) {
  for (const Shape& shape : k_Shapes) {
    const size_t small = SearchWork(shape, 2000);
    const size_t large = SearchWork(shape, 16'000);
    EXPECT_LE(static_cast<double>(large), k_MostGrowth * static_cast<double>(small)) << shape.m_Name;
  }
}

TEST(ListDifference, OfEqualListsComparesEachEntryOnce) {
  const Numbers numbers = Ascending(1000);
  const std::vector<Counted> list(numbers.begin(), numbers.end());
  Counted::s_Count = 0;
  EXPECT_TRUE(ListDifference<Counted>::Between(list, list).IsEmpty());
  EXPECT_EQ(Counted::s_Count, 1000u);
}

} // namespace
} // namespace brenic::master
