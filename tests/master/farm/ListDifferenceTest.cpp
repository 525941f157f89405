#include "farm/ListDifference.h"

#include <limits>
#include <map>
#include <set>

#include <gmock/gmock.h>

#include "farm/Lists.h"
#include "rlib/Path.h"

namespace brenic::master {
namespace {

using rlib::Path;
using rlib::String;
using testing::ElementsAre;

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

} // namespace
} // namespace brenic::master
