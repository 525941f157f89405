// What holds for the return from any changes.
#include <gmock/gmock.h>

#include "farm/RandomRequests.h"
#include "farm/RecordedFarm.h"
#include "farm/Reversal.h"

namespace brenic::master {
namespace {

/// Farm texts by the sequence after which they were so, of `count` requests that changed something; among
/// them are reverts.
std::map<int64_t, std::string> ChangeAtRandom(uint32_t seed, size_t count, RecordedFarm& farm) {
  RandomRequests random(seed);
  std::map<int64_t, std::string> texts{{0, Describe(farm.m_Farm)}};
  while (texts.size() <= count) {
    const auto message = random.Below(4) == 0
                             ? shared_ptr<Message>(RevertOf(
                                   {static_cast<int64_t>(1 + random.Below(texts.rbegin()->first + 1))}))
                             : random.Next(farm.m_Farm);
    const auto judgement = farm.Ask(*message);
    if (judgement && !judgement->m_Change.IsEmpty())
      texts[farm.m_Newest] = Describe(farm.m_Farm);
  }
  return texts;
}

TEST(RandomChanges, RevertedOneByOneInReverseOrderGiveEveryEarlierState) {
  for (uint32_t seed = 500; seed != 503; ++seed) {
    RecordedFarm farm(FarmWithHiddenProduct());
    const auto texts = ChangeAtRandom(seed, 500, farm);
    for (auto text = texts.rbegin(); text->first != 0; ++text) {
      ASSERT_EQ(farm.Revert({text->first}), "") << "seed " << seed;
      ASSERT_EQ(Describe(farm.m_Farm), std::next(text)->second) << "seed " << seed << ", " << text->first;
    }
  }
}

TEST(RandomChanges, RevertedInGroupsGiveTheFirstStateAndRevertedAgainTheLast) {
  for (uint32_t seed = 510; seed != 513; ++seed) {
    RecordedFarm farm(FarmWithHiddenProduct());
    const auto texts = ChangeAtRandom(seed, 500, farm);
    RandomRequests random(seed);
    const std::string last = Describe(farm.m_Farm);
    std::vector<int64_t> reverts;
    for (auto text = texts.rbegin(); text->first != 0;) {
      std::vector<int64_t> group;
      for (size_t size = 1 + random.Below(120); size != 0 && text->first != 0; --size, ++text)
        group.insert(group.begin() + static_cast<std::ptrdiff_t>(random.Below(group.size() + 1)),
                     text->first);
      ASSERT_EQ(farm.Revert(group), "") << "seed " << seed;
      ASSERT_EQ(Describe(farm.m_Farm), text->second) << "seed " << seed;
      reverts.push_back(farm.m_Newest);
    }
    ASSERT_EQ(farm.Revert(reverts), "");
    ASSERT_EQ(Describe(farm.m_Farm), last);
  }
}

TEST(RandomChanges, RevertedOutOfOrderAreRefusedOrLeaveAllElse) {
  size_t reverted = 0, refused = 0;
  for (uint32_t seed = 520; seed != 550; ++seed) {
    RecordedFarm farm(FarmWithHiddenProduct());
    const auto texts = ChangeAtRandom(seed, 60, farm);
    RandomRequests random(seed);
    for (int i = 0; i != 30; ++i) {
      const auto chosen = std::next(texts.begin(), static_cast<std::ptrdiff_t>(1 + random.Below(60)))->first;
      const std::string before = Describe(farm.m_Farm);
      const std::string why = farm.Revert({chosen});
      if (!why.empty()) {
        ++refused;
        ASSERT_EQ(Describe(farm.m_Farm), before);
        continue;
      }
      ++reverted;
      const std::string after = Describe(farm.m_Farm);
      const int64_t revert = farm.m_Newest;
      if (farm.FindRecord(revert)->m_Load) {
        ASSERT_EQ(farm.Revert({revert}), "") << "seed " << seed;
        ASSERT_EQ(Describe(farm.m_Farm), before) << "seed " << seed;
        ASSERT_EQ(farm.Revert({farm.m_Newest}), "") << "seed " << seed;
        ASSERT_EQ(Describe(farm.m_Farm), after) << "seed " << seed;
      }
    }
  }
  EXPECT_GT(reverted, 100u);
  EXPECT_GT(refused, 100u);
}

// A list in the plainest way: whatever others did, exactly what the change removed and added goes back.

struct LetterTraits {
  static char Key(char letter) { return letter; }
  static bool IsFiller(char) { return false; }
};
using Letters = std::vector<char>;

TEST(ListReversal, PutsBackExactlyWhatTheChangeTookWhateverCameSince) {
  RandomRequests random(1);
  const auto some = [&] {
    Letters letters;
    for (size_t size = random.Below(9); size != 0; --size)
      letters.push_back(static_cast<char>('a' + random.Below(5)));
    return letters;
  };
  size_t taken = 0, refused = 0;
  for (int i = 0; i != 20'000; ++i) {
    const Letters before = some(), after = some(), now = random.Below(3) == 0 ? after : some();
    const auto change = ListDifference<char>::Between(before, after);
    ListReversal<char, LetterTraits> reversal(now);
    reversal.Pass(ListDifference<char>::Between(after, now));
    const auto others = reversal.Revert(change);
    ASSERT_EQ(reversal.Past(), before);
    std::map<char, int> moved; // by how much there are more of them before
    std::set<char> touched;
    for (const auto& run : change.m_Runs) {
      for (const char letter : run.m_Removed)
        ++moved[letter], touched.insert(letter);
      for (const char letter : run.m_Added)
        --moved[letter], touched.insert(letter);
    }
    std::vector<char> differ;
    for (const char letter : touched) {
      if (std::count(now.begin(), now.end(), letter) != std::count(after.begin(), after.end(), letter))
        differ.push_back(letter);
    }
    ASSERT_EQ(others, differ);
    const Letters result = reversal.Result();
    if (!others.empty()) {
      ++refused;
      ASSERT_EQ(result, now);
      continue;
    }
    ++taken;
    if (now == after) {
      ASSERT_EQ(result, before);
    }
    for (char letter = 'a'; letter != 'f'; ++letter)
      ASSERT_EQ(std::count(result.begin(), result.end(), letter),
                std::count(now.begin(), now.end(), letter) + moved[letter]);
    // What the change did not touch keeps its order.
    const auto rest = [&](Letters list) {
      std::erase_if(list, [&](char letter) { return touched.contains(letter); });
      return list;
    };
    ASSERT_EQ(rest(result), rest(now));
  }
  EXPECT_GT(taken, 2000u);
  EXPECT_GT(refused, 2000u);
}

} // namespace
} // namespace brenic::master
