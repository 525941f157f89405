#include "farm/ListDifference.h"

#include <map>
#include <numeric>
#include <random>
#include <set>

#include <gmock/gmock.h>

#include "rlib/Path.h"

namespace brenic::master {
namespace {

using rlib::Path;
using rlib::String;
using testing::ElementsAre;
using testing::IsEmpty;

using Numbers = std::vector<int>;
using Difference = ListDifference<int>;
using NumberRun = ListRun<int>;

struct Size {
  size_t m_Removed = 0;
  size_t m_Added = 0;
  size_t Sum() const { return m_Removed + m_Added; }
};

Size SizeOf(const Difference& difference) {
  Size size;
  for (const NumberRun& run : difference.m_Runs) {
    size.m_Removed += run.m_Removed.size();
    size.m_Added += run.m_Added.size();
  }
  return size;
}

std::string WhyNot(const std::vector<NumberRun>& runs, const Numbers& before) {
  const auto after = Difference{runs}.AppliedTo(before);
  return after ? "" : after.Reason().str();
}

Numbers Ascending(int size) {
  Numbers list(static_cast<size_t>(size));
  std::iota(list.begin(), list.end(), 0);
  return list;
}

/// 0, 1, 0, 2, 0, 3, ...
Numbers Interleaved(int size) {
  Numbers list;
  for (int i = 1; i <= size; ++i) {
    list.push_back(0);
    list.push_back(i);
  }
  return list;
}

Numbers Repeated(const Numbers& period, size_t size) {
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

Numbers Applied(const Difference& difference, const Numbers& before) {
  const auto after = difference.AppliedTo(before);
  EXPECT_TRUE(after) << after.Reason();
  return after ? *after : Numbers();
}

/// Everything that holds for any two lists. Gives the difference.
Difference Check(const Numbers& before, const Numbers& after) {
  const Difference difference = Difference::Between(before, after);
  EXPECT_EQ(Applied(difference, before), after);
  const Difference inverse = difference.Inverse();
  EXPECT_EQ(Applied(inverse, after), before);
  EXPECT_EQ(inverse.Inverse(), difference);
  EXPECT_EQ(difference.IsEmpty(), before == after);
  for (const NumberRun& run : difference.m_Runs) {
    if (run.m_Removed.empty() || run.m_Added.empty())
      continue;
    EXPECT_NE(run.m_Removed.front(), run.m_Added.front());
    EXPECT_NE(run.m_Removed.back(), run.m_Added.back());
  }
  return difference;
}

/// The least number of entries that must be removed and added, from the table of the longest common
/// subsequences.
size_t LeastSize(const Numbers& before, const Numbers& after) {
  std::vector<size_t> row(after.size() + 1);
  for (const int entry : before) {
    size_t diagonal = 0;
    for (size_t j = 1; j <= after.size(); ++j) {
      const size_t above = row[j];
      row[j] = entry == after[j - 1] ? diagonal + 1 : std::max(above, row[j - 1]);
      diagonal = above;
    }
  }
  return before.size() + after.size() - 2 * row.back();
}

TEST(ListDifference, OfEqualListsIsEmpty) {
  EXPECT_TRUE(Check({}, {}).IsEmpty());
  EXPECT_TRUE(Check({1, 1, 2}, {1, 1, 2}).IsEmpty());
  EXPECT_THAT(*Difference().AppliedTo({1, 2}), ElementsAre(1, 2));
}

TEST(ListDifference, OfAnEmptyListIsTheOtherList) {
  EXPECT_THAT(Check({}, {1, 2}).m_Runs, ElementsAre(NumberRun{0, {}, {1, 2}}));
  EXPECT_THAT(Check({1, 2}, {}).m_Runs, ElementsAre(NumberRun{0, {1, 2}, {}}));
}

TEST(ListDifference, OfListsWithNothingInCommonIsOneRun) {
  EXPECT_THAT(Check({1, 2, 3}, {4, 5}).m_Runs, ElementsAre(NumberRun{0, {1, 2, 3}, {4, 5}}));
}

TEST(ListDifference, CountsPositionsInTheListBefore) {
  EXPECT_THAT(Check({1, 2, 3, 4, 5, 6}, {0, 1, 3, 4, 7, 6, 8}).m_Runs,
              ElementsAre(NumberRun{0, {}, {0}}, NumberRun{1, {2}, {}}, NumberRun{4, {5}, {7}},
                          NumberRun{6, {}, {8}}));
}

TEST(ListDifference, InvertsToPositionsInTheListAfter) {
  const Difference difference{{{0, {}, {8, 9}}, {2, {3, 4, 5}, {6}}, {7, {1}, {}}}};
  EXPECT_THAT(difference.Inverse().m_Runs,
              ElementsAre(NumberRun{0, {8, 9}, {}}, NumberRun{4, {6}, {3, 4, 5}}, NumberRun{7, {}, {1}}));
}

TEST(ListDifference, OfAMovedEntryRemovesItAndAddsIt) {
  Dice dice(1);
  for (int round = 0; round != 200; ++round) {
    const bool distinct = round % 2 == 0;
    const Numbers before = distinct ? Ascending(700) : Interleaved(350);
    Numbers after = before;
    const auto from = after.begin() + static_cast<std::ptrdiff_t>(dice.Roll(after.size()));
    const int entry = *from;
    after.erase(from);
    after.insert(after.begin() + static_cast<std::ptrdiff_t>(dice.Roll(after.size())), entry);
    const Size size = SizeOf(Check(before, after));
    EXPECT_LE(size.m_Removed, 1u);
    EXPECT_LE(size.m_Added, 1u);
  }
}

TEST(ListDifference, IsAsSmallAsCanBeForSmallLists) {
  Dice dice(2);
  for (const int alphabet : {1, 2, 3, 10, 1000})
    for (int round = 0; round != 400; ++round) {
      const Numbers before = dice.List(dice.Roll(33), alphabet);
      const Numbers after = dice.List(dice.Roll(33), alphabet);
      ASSERT_EQ(SizeOf(Check(before, after)).Sum(), LeastSize(before, after));
    }
}

TEST(ListDifference, IsAsSmallAsCanBeWhenNothingRepeats) {
  Dice dice(9);
  for (int round = 0; round != 20; ++round) {
    Numbers before = dice.Shuffled(Ascending(500));
    Numbers after = dice.Shuffled(Ascending(700));
    before.resize(400); // so that some stand in one list only
    after.resize(450);
    ASSERT_EQ(SizeOf(Check(before, after)).Sum(), LeastSize(before, after));
  }
}

TEST(ListDifference, OfAFewEditsIsAsSmallAsCanBeWhateverTheList) {
  Dice dice(3);
  for (const int alphabet : {1, 2, 3, 10, 1000})
    for (int round = 0; round != 40; ++round) {
      const Numbers before = dice.List(700, alphabet);
      Numbers after = before;
      for (size_t edits = dice.Roll(k_ListReach / 2 + 1); edits != 0; --edits)
        dice.Edit(after, static_cast<int>(dice.Roll(static_cast<size_t>(alphabet))));
      ASSERT_EQ(SizeOf(Check(before, after)).Sum(), LeastSize(before, after));
    }
}

TEST(ListDifference, OfEditsInDistinctEntriesHasNoMoreEntriesThanEdits) {
  Dice dice(4);
  for (const size_t edits : {1, 2, 5, 20, 100, 300, 600})
    for (int round = 0; round != 20; ++round) {
      const Numbers before = Ascending(700);
      Numbers after = before;
      for (size_t i = 0; i != edits; ++i)
        dice.Edit(after, static_cast<int>(1000 + i));
      const Size size = SizeOf(Check(before, after));
      EXPECT_LE(size.m_Removed, edits);
      EXPECT_LE(size.m_Added, edits);
    }
}

TEST(ListDifference, OfDuplicatesRemovedInManyPlacesIsThoseDuplicates) {
  Dice dice(5);
  for (const size_t count : {1, 3, 30, 100, 250})
    for (int round = 0; round != 20; ++round) {
      const Numbers before = Interleaved(350);
      std::set<size_t> places;
      while (places.size() != count)
        places.insert(2 * dice.Roll(350));
      Numbers after;
      for (size_t i = 0; i != before.size(); ++i)
        if (!places.count(i))
          after.push_back(before[i]);
      const Size size = SizeOf(Check(before, after));
      EXPECT_EQ(size.m_Removed, count);
      EXPECT_EQ(size.m_Added, 0u);
    }
}

// Beyond what one look ahead sees, and with nothing that stands out, the number need not be the least; it is
// still no more than the edits themselves remove and add at most.
TEST(ListDifference, OfManyEditsInRepeatedEntriesFollowsTheEdits) {
  Dice dice(6);
  for (const int alphabet : {2, 3, 10})
    for (const size_t edits : {100, 300, 1000})
      for (const bool periodic : {true, false}) {
        const Numbers before = periodic ? Repeated(Ascending(alphabet), 20'000) : dice.List(20'000, alphabet);
        Numbers after = before;
        for (size_t i = 0; i != edits; ++i)
          dice.Edit(after, static_cast<int>(dice.Roll(static_cast<size_t>(alphabet))));
        EXPECT_LE(SizeOf(Check(before, after)).Sum(), 2 * edits)
            << alphabet << ' ' << edits << ' ' << periodic;
      }
}

TEST(ListDifference, OfManyUniqueEntriesMovedAcrossRepeatedOnesKeepsTheRepeatedOnes) {
  const Numbers repeated = Repeated({-1, -2}, 5000);
  Numbers before = Ascending(200);
  Numbers after = repeated;
  before.insert(before.end(), repeated.begin(), repeated.end());
  const Numbers moved = Ascending(200);
  after.insert(after.end(), moved.begin(), moved.end());
  EXPECT_LE(SizeOf(Check(before, after)).Sum(), 400u);
}

TEST(ListDifference, OfABlockBroughtIntoEachHalfIsThoseBlocks) {
  Dice dice(7);
  const Numbers before = Ascending(700);
  Numbers after = before;
  const Numbers block = dice.List(300, 5);
  after.insert(after.begin() + 500, block.begin(), block.end());
  after.insert(after.begin() + 100, block.begin(), block.end());
  const Size size = SizeOf(Check(before, after));
  EXPECT_EQ(size.m_Removed, 0u);
  EXPECT_EQ(size.m_Added, 600u);
}

TEST(ListDifference, OfEditsBetweenUniqueEntriesStaysBetweenThem) {
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
  EXPECT_LE(SizeOf(Check(before, after)).Sum(), 200u * 3 * 2 + 4 * 300);
}

TEST(ListDifference, OfAFewEditsAndAnyNumberOfEntriesOfOneListIsAsSmallAsCanBe) {
  Dice dice(11);
  Numbers before = dice.List(2000, 2);
  Numbers after = before;
  for (int i = 0; i != 20; ++i)
    dice.Edit(after, static_cast<int>(dice.Roll(2)));
  for (const int at : {1500, 1000, 500}) {
    before.insert(before.begin() + at, 300, 10 + at);
    after.insert(after.begin() + at + 200, 300, 11 + at);
  }
  EXPECT_EQ(SizeOf(Check(before, after)).Sum(), LeastSize(before, after));
}

TEST(ListDifference, LeadsFromAnyListToAnyAndBack) {
  Dice dice(8);
  for (const int alphabet : {1, 2, 3, 10, 100'000})
    for (int round = 0; round != 30; ++round)
      Check(dice.List(dice.Roll(1500), alphabet), dice.List(dice.Roll(1500), alphabet));
  for (int round = 0; round != 5; ++round)
    Check(Ascending(2000), dice.Shuffled(Ascending(2000)));
  const Numbers ascending = Ascending(2000);
  Check(ascending, Numbers(ascending.rbegin(), ascending.rend()));
  Check(Numbers(3000, 1), Numbers(1000, 1));
  Check(Repeated({1, 2}, 2000), Repeated({1, 1, 2}, 3000));
}

TEST(ListDifference, TakesTextsAndTranslations) {
  const std::vector<String> texts = {"a", "b", "c"};
  const auto ofTexts = ListDifference<String>::Between(texts, {"a", "c", "d"});
  EXPECT_EQ(ofTexts.m_Runs, (std::vector<ListRun<String>>{{1, {String("b")}, {}}, {3, {}, {String("d")}}}));
  EXPECT_THAT(*ofTexts.AppliedTo(texts), ElementsAre(String("a"), String("c"), String("d")));

  using Translation = std::map<int, Path>;
  const std::vector<Translation> before = {{{0, "/a"}, {1, "A:"}}, {{0, "/b"}}, {}};
  const std::vector<Translation> after = {{{0, "/a"}, {1, "B:"}}, {{0, "/b"}}, {}};
  const auto ofTranslations = ListDifference<Translation>::Between(before, after);
  EXPECT_EQ(ofTranslations.m_Runs, (std::vector<ListRun<Translation>>{{0, {before[0]}, {after[0]}}}));
  EXPECT_EQ(*ofTranslations.Inverse().AppliedTo(after), before);
}

TEST(ListDifference, RefusesRunsOutOfRange) {
  EXPECT_EQ(WhyNot({{4, {}, {1}}}, {1, 2, 3}), "change 1 of 1 at entry 4 removes 0, but the list has 3");
  EXPECT_EQ(WhyNot({{0, {}, {1}}, {2, {3, 4}, {}}}, {1, 2, 3}),
            "change 2 of 2 at entry 2 removes 2, but the list has 3");
  const size_t far = std::numeric_limits<size_t>::max();
  EXPECT_EQ(WhyNot({{far, {1, 2}, {}}}, {1, 2, 3}),
            "change 1 of 1 at entry " + std::to_string(far) + " removes 2, but the list has 3");
  EXPECT_EQ(WhyNot({{0, {1}, {}}}, {}), "change 1 of 1 at entry 0 removes 1, but the list has 0");
  EXPECT_EQ(WhyNot({{3, {}, {4}}}, {1, 2, 3}), "") << "the end is in range";
}

TEST(ListDifference, RefusesRunsThatOverlapOrTouchOrAreOutOfOrder) {
  const Numbers before = {1, 2, 3, 4};
  EXPECT_EQ(WhyNot({{0, {1, 2}, {}}, {1, {2}, {}}}, before),
            "change 2 of 2 at entry 1 is not beyond entry 2, the end of the one before it");
  EXPECT_EQ(WhyNot({{0, {1, 2}, {}}, {2, {3}, {}}}, before),
            "change 2 of 2 at entry 2 is not beyond entry 2, the end of the one before it");
  EXPECT_EQ(WhyNot({{1, {}, {8}}, {1, {}, {9}}}, before),
            "change 2 of 2 at entry 1 is not beyond entry 1, the end of the one before it");
  EXPECT_EQ(WhyNot({{3, {4}, {}}, {0, {1}, {}}}, before),
            "change 2 of 2 at entry 0 is not beyond entry 4, the end of the one before it");
  EXPECT_EQ(WhyNot({{0, {1, 2}, {}}, {3, {4}, {}}}, before), "");
}

TEST(ListDifference, RefusesToRemoveAnotherEntry) {
  EXPECT_EQ(WhyNot({{1, {2, 4}, {}}}, {1, 2, 3}),
            "change 1 of 1 removes another entry than entry 2 of the list");
}

TEST(ListDifference, RefusesARunThatDoesNothing) {
  EXPECT_EQ(WhyNot({{0, {1}, {}}, {2, {}, {}}}, {1, 2, 3}), "change 2 of 2 removes nothing and adds nothing");
}

/// Counts what is done with it, as an entry and as the number of one.
class Counted {
public:
  Counted(int value) : m_Value(value) {}
  operator size_t() const {
    ++s_Count;
    return static_cast<size_t>(m_Value);
  }
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

size_t EntryWork(const Shape& shape, int size) {
  const auto [from, to] = shape.m_Make(size);
  const std::vector<Counted> before(from.begin(), from.end());
  const std::vector<Counted> after(to.begin(), to.end());
  Counted::s_Count = 0;
  const auto difference = ListDifference<Counted>::Between(before, after);
  EXPECT_TRUE(difference.AppliedTo(before));
  return Counted::s_Count;
}

size_t SearchWork(const Shape& shape, int size) {
  const auto [from, to] = shape.m_Make(size);
  const std::vector<Counted> before(from.begin(), from.end());
  const std::vector<Counted> after(to.begin(), to.end());
  Counted::s_Count = 0;
  CommonEntries<Counted>(before, after, static_cast<size_t>(3 * size)).Find();
  return Counted::s_Count;
}

TEST(ListDifferenceWork, OnEntriesGrowsLikeSorting) {
  for (const Shape& shape : k_Shapes) {
    const size_t small = EntryWork(shape, 2000);
    const size_t large = EntryWork(shape, 16'000);
    EXPECT_LE(static_cast<double>(large), k_MostGrowth * static_cast<double>(small)) << shape.m_Name;
    EXPECT_LE(large, 2'000'000u) << shape.m_Name; // 2 n lg 2n, and the linear steps
  }
}

TEST(ListDifferenceWork, OfTheSearchGrowsLikeSorting) {
  for (const Shape& shape : k_Shapes) {
    const size_t small = SearchWork(shape, 2000);
    const size_t large = SearchWork(shape, 16'000);
    EXPECT_LE(static_cast<double>(large), k_MostGrowth * static_cast<double>(small)) << shape.m_Name;
  }
}

TEST(ListDifferenceWork, OnEqualListsComparesEachEntryOnce) {
  const Numbers numbers = Ascending(1000);
  const std::vector<Counted> list(numbers.begin(), numbers.end());
  Counted::s_Count = 0;
  EXPECT_TRUE(ListDifference<Counted>::Between(list, list).IsEmpty());
  EXPECT_EQ(Counted::s_Count, 1000u);
}

} // namespace
} // namespace brenic::master
