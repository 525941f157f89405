#include "farm/Revert.h"

#include <gmock/gmock.h>

#include "farm/RandomRequests.h"
#include "farm/RecordedFarm.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Revert, GivesBackEveryKindOfChangeAndARevertCanBeReverted) {
  const auto own = MakeProduct(3, "Own");
  const std::vector<shared_ptr<Message>> before{OptionMessage("MaxJobs", "1"),
                                                OptionMessage("x", "1", Type(1).ToString()),
                                                SetLimitOf(Type(1), 5),
                                                SetRestrictionTo("NoJobs", true),
                                                SetTranslations(List({"/a", "/b"})),
                                                OptionMessage(o_UserLimits, "ann=1;bob=2;"),
                                                InstallProduct(MakeProduct(4, "Mine")),
                                                InstallProduct(MakeProduct(2, "Beta two"))};
  const std::vector<shared_ptr<Message>> changes{
      OptionMessage("MAXJOBS", "2"),
      OptionMessage("never set", ""),
      OptionMessage("X", "2", Type(1).ToString()),
      OptionMessage("y", "2", Type(1).ToString()),
      OptionMessage("y", "1", Type(2).ToString()),
      SetLimitOf(Type(1), -1),
      SetLimitOf(Type(2), 0),
      SetRestrictionTo("NoJobs", false),
      SetRestrictionTo("nojobs", true),
      SetTranslations(List({"/a", "/c", "/b"})),
      SetTranslations(List({"/b"})),
      SetTranslations({}),
      OptionMessage(o_UserLimits, "ann=1;"),
      OptionMessage("userlimits", ""),
      InstallProduct(own),
      InstallProduct(MakeProduct(1, "Alpha two")),
      InstallProduct(MakeProduct(4, "Mine two")),
      RemoveProduct(Type(1)),
      RemoveProduct(Type(2)),
      RemoveProduct(Type(4)),
      RemoveProduct(UID::Null),
  };
  for (const auto& change : changes) {
    RecordedFarm farm;
    for (const auto& request : before)
      farm.Do(request);
    const std::string first = Describe(farm.m_Farm);
    const int64_t sequence = farm.Do(change);
    const std::string second = Describe(farm.m_Farm);
    ASSERT_NE(second, first);
    ASSERT_EQ(farm.Revert({sequence}), "");
    EXPECT_EQ(Describe(farm.m_Farm), first);
    ASSERT_EQ(farm.Revert({farm.m_Newest}), "");
    EXPECT_EQ(Describe(farm.m_Farm), second);
    ASSERT_EQ(farm.Revert({sequence}), "") << "it is again as the first change left it";
    EXPECT_EQ(Describe(farm.m_Farm), first);
  }
}

TEST(Revert, UnsetsTheUserLimitsThatWereNotSetBefore) {
  RecordedFarm farm;
  for (const char* text : {"", "ann=1", "ann=1;"}) {
    const int64_t set = farm.Do(OptionMessage(o_UserLimits, text));
    ASSERT_EQ(farm.Revert({set}), "") << text;
    EXPECT_TRUE(farm.m_Farm.m_Options.empty()) << text;
    ASSERT_EQ(farm.Revert({farm.m_Newest}), "") << text;
    EXPECT_EQ(farm.m_Farm.m_Options.at(o_UserLimits), text);
    ASSERT_EQ(farm.Revert({farm.m_Newest}), "") << text;
    EXPECT_TRUE(farm.m_Farm.m_Options.empty()) << text;
  }
}

TEST(Revert, LeavesWhatOthersChangedSince) {
  RecordedFarm farm;
  farm.Do(OptionMessage("a", "1"));
  farm.Do(OptionMessage(o_UserLimits, "ann=1;bob=1;carl=1;"));
  const int64_t option = farm.Do(OptionMessage("a", "2"));
  const int64_t limit = farm.Do(OptionMessage(o_UserLimits, "ann=1;bob=2;carl=1;"));
  farm.Do(OptionMessage("b", "1"));
  farm.Do(OptionMessage(o_UserLimits, "dora=5;bob=2;carl=7"));
  ASSERT_EQ(farm.Revert({limit, option}), "");
  EXPECT_EQ(farm.m_Farm.Option("a"), "1");
  EXPECT_EQ(farm.m_Farm.Option("b"), "1");
  EXPECT_EQ(farm.m_Farm.Option(o_UserLimits), "bob=1;dora=5;carl=7");
}

TEST(Revert, OfTheFirstLimitKeepsThoseOfOthers) {
  RecordedFarm farm;
  const int64_t first = farm.Do(OptionMessage(o_UserLimits, "ann=1"));
  farm.Do(OptionMessage(o_UserLimits, "ann=1;bob=2;"));
  ASSERT_EQ(farm.Revert({first}), "");
  EXPECT_EQ(farm.m_Farm.Option(o_UserLimits), "bob=2;");
}

TEST(Revert, GoesBackWhoeverTouchedItInBetween) {
  RecordedFarm farm;
  const int64_t first = farm.Do(OptionMessage("a", "1"));
  farm.Do(OptionMessage("a", "2"));
  EXPECT_NE(farm.Revert({first}), "");
  farm.Do(OptionMessage("A", "1"));
  ASSERT_EQ(farm.Revert({first}), "");
  EXPECT_TRUE(farm.m_Farm.m_Options.empty());

  const int64_t limits = farm.Do(OptionMessage(o_UserLimits, "ann=1;"));
  farm.Do(OptionMessage(o_UserLimits, "bob=1;ann=2;"));
  farm.Do(OptionMessage(o_UserLimits, "bob=1;ann=1;"));
  ASSERT_EQ(farm.Revert({limits}), "");
  EXPECT_EQ(farm.m_Farm.Option(o_UserLimits), "bob=1;");
}

TEST(Revert, ARemovedTranslationReturnsBehindItsNearestPredecessorThatIsThere) {
  struct Case {
    std::vector<std::string> m_Before, m_After, m_Now, m_Expected;
  };
  for (const auto& [before, after, now, expected] : std::vector<Case>{
           {{"a", "b", "c"}, {"a", "c"}, {"a", "c"}, {"a", "b", "c"}},
           {{"a", "b", "c"}, {"a", "c"}, {"x", "a", "y", "c"}, {"x", "a", "b", "y", "c"}},
           {{"a", "b", "c"}, {"a", "c"}, {"c"}, {"b", "c"}},
           {{"a", "b", "c"}, {"a", "c"}, {"x", "c"}, {"b", "x", "c"}},
           {{"a", "b", "c"}, {"a", "c"}, {}, {"b"}},
           {{"a", "b", "c"}, {"a", "c"}, {"c", "a"}, {"c", "a", "b"}},
           {{"a", "b", "c", "d"}, {"a"}, {"x", "a", "y"}, {"x", "a", "b", "c", "d", "y"}},
           {{"a", "b", "c", "d"}, {"b", "d"}, {"d", "b", "x"}, {"a", "d", "b", "c", "x"}},
           {{"a", "b"}, {"b", "a"}, {"x", "b", "a"}, {"a", "x", "b"}}, // moved
           {{"a", "b"}, {"a", "n", "b"}, {"b", "n", "a"}, {"b", "a"}}, // added
           {{"a", "b"}, {"a", "n"}, {"n", "x", "a"}, {"x", "a", "b"}}, // replaced
           // Equal ones: the second of three goes, while others come in between.
           {{"r", "a", "r", "b", "r"},
            {"r", "a", "b", "r"},
            {"r", "a", "x", "b", "r"},
            {"r", "a", "r", "x", "b", "r"}},
       }) {
    RecordedFarm farm;
    farm.Do(SetTranslations(List(before)));
    const int64_t change = farm.Do(SetTranslations(List(after)));
    farm.Do(SetTranslations(List(now)));
    ASSERT_EQ(farm.Revert({change}), "");
    EXPECT_EQ(Roots(farm.m_Farm), expected) << testing::PrintToString(now);
  }
}

TEST(Revert, CountsEqualTranslations) {
  RecordedFarm farm;
  farm.Do(SetTranslations(List({"r", "r"})));
  const int64_t removal = farm.Do(SetTranslations(List({"r"})));
  farm.Do(SetTranslations(List({"r", "x", "r"})));
  EXPECT_THAT(farm.Revert({removal}), HasSubstr("the path translation Linux 'r' is not as change 2 left it"));
  farm.Do(SetTranslations(List({"x", "r"})));
  ASSERT_EQ(farm.Revert({removal}), "");
  EXPECT_EQ(Roots(farm.m_Farm).size(), 3u);
}

TEST(Revert, NeedsNoTypeToExist) {
  RecordedFarm farm;
  farm.Do(InstallProduct(MakeProduct(3, "Own")));
  const int64_t option = farm.Do(OptionMessage("x", "1", Type(3).ToString()));
  const int64_t limit = farm.Do(SetLimitOf(Type(3), 5));
  farm.Do(RemoveProduct(Type(3)));
  ASSERT_EQ(farm.Revert({option, limit}), "");
  EXPECT_TRUE(farm.m_Farm.m_TypeOptions.empty());
  EXPECT_TRUE(farm.m_Farm.m_Limits.empty());
}

TEST(Revert, OfAResetBringsBackAProductThatHidesADefaultOne) {
  RecordedFarm farm(FarmWithHiddenProduct());
  const std::string first = Describe(farm.m_Farm);
  const int64_t reset = farm.Do(RemoveProduct(UID::Null));
  ASSERT_EQ(farm.Revert({reset}), "");
  EXPECT_EQ(Describe(farm.m_Farm), first);
  const int64_t over = farm.Do(InstallProduct(MakeProduct(8, "Eight")));
  ASSERT_EQ(farm.Revert({over}), "") << "the default one did not show before either";
  EXPECT_EQ(Describe(farm.m_Farm), first);
}

TEST(Revert, NeverTouchesDefaultProducts) {
  RecordedFarm farm;
  farm.Do(InstallProduct(MakeProduct(3, "Own")));
  Change reset = ChangeOf(farm.m_Farm, *RemoveProduct(UID::Null));
  AddDefaults(farm.m_Farm, {{Type(1), MakeProduct(1, "Alpha", {"new"})}}, reset);
  farm.Record("RemoveProductMsg", "committed", reset);
  ASSERT_EQ(farm.Revert({2}), "");
  EXPECT_TRUE(farm.m_Farm.m_Products.IsCustom(Type(3)));
  EXPECT_EQ(farm.m_Farm.m_Products.Defaults().size(), 1u);
  Change defaults;
  AddDefaults(farm.m_Farm, {}, defaults);
  farm.Record("DefaultProducts", "committed", defaults);
  EXPECT_EQ(farm.Revert({4}),
            "Nothing was reverted: 4 only read other default products, which are not reverted");
}

TEST(Revert, TellsClientsOfTheProductsThatItChanged) {
  RecordedFarm farm;
  const int64_t own = farm.Do(InstallProduct(MakeProduct(3, "Own")));
  const int64_t other = farm.Do(InstallProduct(MakeProduct(4, "Other")));
  const auto one = Judge(farm.m_Farm, {}, *RevertOf({other}), farm);
  const auto both = Judge(farm.m_Farm, {}, *RevertOf({own, other}), farm);
  EXPECT_THAT(one->m_ProductsTold, ElementsAre(Type(4)));
  EXPECT_THAT(both->m_ProductsTold, ElementsAre(Type(3), Type(4)));
  RecordedFarm hidden(FarmWithHiddenProduct());
  const int64_t reset = hidden.Do(RemoveProduct(UID::Null));
  EXPECT_THAT(Judge(hidden.m_Farm, {}, *RevertOf({reset}), hidden)->m_ProductsTold, ElementsAre(UID::Null));
}

} // namespace
} // namespace brenic::master
