#include "Merge.h"

#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Sets.h"

using namespace brenic;
using rlib::Path;
using rlib::String;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const TranslationSet k_A = Roots("A:", "/a", "/Va");
const TranslationSet k_B = Roots("B:", "/b", "/Vb");
const TranslationSet k_C = Roots("C:", "/c", "/Vc");

TEST(MergeTest, WithoutChangesTheListStays) {
  EXPECT_THAT(MergeTranslations({k_A, k_B, k_A}, {}, {}), ElementsAre(k_A, k_B, k_A));
  EXPECT_THAT(MergeTranslations({}, {}, {}), IsEmpty());
}

TEST(MergeTest, AdditionsFollowWhatIsKept) {
  EXPECT_THAT(MergeTranslations({k_A, k_B, k_C}, {"/b"}, {Roots("D:", "", ""), k_A}),
              ElementsAre(k_A, k_C, Roots("D:", "", ""), k_A));
}

TEST(MergeTest, ARootOfAnyPlatformRemoves) {
  for (const char* root : {"B:", "/b", "/Vb"})
    EXPECT_THAT(MergeTranslations({k_A, k_B, k_C}, {root}, {}), ElementsAre(k_A, k_C)) << root;
}

TEST(MergeTest, ARootOfAnUnknownPlatformRemoves) {
  const TranslationSet more{{-4, Path("/m")}, {1, Path("/x")}, {9, Path("/n")}};
  EXPECT_THAT(MergeTranslations({more, k_A}, {"/n"}, {}), ElementsAre(k_A));
  EXPECT_THAT(MergeTranslations({more, k_A}, {"/m"}, {}), ElementsAre(k_A));
  EXPECT_THAT(MergeTranslations({more, {}, k_A}, {"/a"}, {}), ElementsAre(more, TranslationSet()));
}

TEST(MergeTest, EverySetThatMatchesIsDropped) {
  const TranslationSet first = Roots("P:", "/p", "/Volumes/same");
  const TranslationSet second = Roots("Q:", "/q", "/Volumes/same");
  EXPECT_THAT(MergeTranslations({first, k_A, second}, {"/Volumes/same"}, {}), ElementsAre(k_A));
}

TEST(MergeTest, EveryRootOfTheRequestsRemoves) {
  EXPECT_THAT(MergeTranslations({k_A, k_B, k_C}, {"nothing", "/c", "A:", "/c"}, {}), ElementsAre(k_B));
}

TEST(MergeTest, RootsMatchByteForByte) {
  const SetList list{Roots("X:\\s", "/mnt/share/", "/V"), Roots("Y:", "/MNT/share", "/W")};
  for (const char* root :
       {"/mnt/share", "/mnt/share//", "/Mnt/share", "x:\\s", "X:/s", "/mnt/shar", " /V", "share"})
    EXPECT_EQ(MergeTranslations(list, {root}, {}), list) << root;
}

TEST(MergeTest, TheEmptyRootRemovesEverySetWithAnEmptyRoot) {
  EXPECT_THAT(MergeTranslations({Roots("D:", "/d", ""), k_A, Roots("", "/e", "/Ve"), {}}, {""}, {}),
              ElementsAre(k_A, TranslationSet()));
}

TEST(MergeTest, RemovalsDoNotActOnAdditions) {
  const TranslationSet addition = Roots("A:", "/new", "/Vnew");
  EXPECT_THAT(MergeTranslations({k_A, k_B}, {"A:"}, {addition}), ElementsAre(k_B, addition));
  EXPECT_THAT(MergeTranslations({}, {"A:", ""}, {addition, Roots("", "", "")}),
              ElementsAre(addition, Roots("", "", "")));
}

TEST(MergeTest, NothingIsMergedWithWhatIsThereAlready) {
  EXPECT_THAT(MergeTranslations({k_A}, {}, {k_A, k_A}), ElementsAre(k_A, k_A, k_A));
}

// The same in the plainest way: a mark a set, then the sets without one, then the additions.
SetList Model(const SetList& current, const rlib::vector<String>& roots, const SetList& additions) {
  std::vector<bool> dropped(current.size());
  for (const String& root : roots) {
    for (size_t i = 0; i < current.size(); ++i) {
      for (int platform = -1; platform <= 3; ++platform) {
        const auto entry = current[i].find(platform);
        if (entry != current[i].end() && std::string(entry->second.c_str()) == root.c_str())
          dropped[i] = true;
      }
    }
  }
  SetList list;
  for (size_t i = 0; i < current.size(); ++i) {
    if (!dropped[i])
      list.push_back(current[i]);
  }
  for (const TranslationSet& set : additions)
    list.push_back(set);
  return list;
}

TEST(MergeTest, AgreesWithAModelOnRandomLists) {
  static const char* const k_Roots[] = {"", "/", "/a", "/A", "/a/", "a", "X:", "x:", "X:\\", "/é"};
  size_t dropped = 0;
  for (unsigned seed = 1; seed <= 3000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto root = [&] { return String(k_Roots[random() % std::size(k_Roots)]); };
    const auto sets = [&](unsigned limit) {
      SetList list(random() % limit);
      for (TranslationSet& set : list) {
        for (int platform = -1; platform <= 3; ++platform) {
          if (random() % 2)
            set[platform] = Path(root());
        }
      }
      return list;
    };
    const SetList current = sets(8);
    rlib::vector<String> removals(random() % 4);
    for (String& removal : removals)
      removal = root();
    const SetList additions = sets(4);
    const SetList merged = MergeTranslations(current, removals, additions);
    ASSERT_EQ(merged, Model(current, removals, additions));
    dropped += current.size() + additions.size() - merged.size();
  }
  EXPECT_GT(dropped, 1000u) << "the lists are too tame";
}

} // namespace
