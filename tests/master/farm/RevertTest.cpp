#include "farm/Revert.h"

#include <gmock/gmock.h>

#include "brenic/SystemMessages.h"
#include "farm/RandomRequests.h"
#include "farm/RecordedFarm.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

shared_ptr<SetMasterLimitsMsg> SetLimitOf(const UID& type, int limit) {
  return Make<SetMasterLimitsMsg>([&](auto& message) { message.m_Limits[type] = limit; });
}

shared_ptr<SetMasterRestrictionsMsg> SetRestrictionTo(const String& name, bool on) {
  return Make<SetMasterRestrictionsMsg>([&](auto& message) { message.m_Restrictions[name] = on; });
}

TranslationSet Root(const std::string& root) {
  return {{1, Path(root)}};
}

/// The Linux roots of the farm's path translations.
std::vector<std::string> Roots(const Farm& farm) {
  std::vector<std::string> roots;
  for (const TranslationSet& set : farm.m_Translations)
    roots.push_back(set.at(1).str().str());
  return roots;
}

rlib::vector<TranslationSet> List(const std::vector<std::string>& roots) {
  rlib::vector<TranslationSet> list;
  for (const std::string& root : roots)
    list.push_back(Root(root));
  return list;
}

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

TEST(Revert, AgainstANewerChangeIsRefusedAndNamesWhoWhatAndWhen) {
  struct Case {
    shared_ptr<Message> m_First, m_Second;
    std::string m_What;
  };
  for (const auto& [first, second, what] : std::vector<Case>{
           {OptionMessage("MaxJobs", "1"), OptionMessage("MAXJOBS", "2"), "the option 'MaxJobs'"},
           {OptionMessage("x", "1", Type(1).ToString()), OptionMessage("x", "2", Type(1).ToString()),
            "the option 'x' of the product 'Alpha'"},
           {SetLimitOf(Type(1), 1), SetLimitOf(Type(1), 2), "the worker limit of the product 'Alpha'"},
           {SetRestrictionTo("NoJobs", true), SetRestrictionTo("NoJobs", false), "the restriction 'NoJobs'"},
           {SetTranslations(List({"/a"})), SetTranslations(List({"/b"})), "the path translation Linux '/a'"},
           {OptionMessage(o_UserLimits, "ann=1;"), OptionMessage(o_UserLimits, "ann=2;"),
            "the user limit of 'ann'"},
           {OptionMessage(o_UserLimits, ""), OptionMessage(o_UserLimits, "ann=2;"),
            "the option 'UserLimits'"},
           {InstallProduct(MakeProduct(3, "Own")), InstallProduct(MakeProduct(3, "Own", {"o"})),
            "the product 'Own'"},
       }) {
    RecordedFarm farm;
    farm.Do(first);
    farm.m_Who = "bob\n";
    farm.Do(second);
    farm.m_Who = "carl";
    farm.Do(OptionMessage("other", "1"));
    const std::string before = Describe(farm.m_Farm);
    EXPECT_EQ(farm.Revert({3, 1}), "Nothing was reverted: " + what +
                                       " is not as change 1 left it: 'bob\\n' changed it since, at "
                                       "2023-11-14T22:13:20.002Z (change 2)");
    EXPECT_EQ(Describe(farm.m_Farm), before);
    ASSERT_EQ(farm.Revert({1, 2}), "") << "together";
    ASSERT_EQ(farm.Revert({3}), "");
    EXPECT_EQ(Describe(farm.m_Farm), Describe(SampleFarm()));
  }
}

TEST(Revert, NamesTheFirstConflictsAndCountsTheOthers) {
  RecordedFarm farm;
  const auto set = [](const char* value) {
    return Make<SetMasterOptionsMsg>([&](auto& message) {
      message.m_Section = o_Distribution;
      for (int i = 0; i != 8; ++i)
        message.m_Options[fmt::format("option {}", i)] = value;
    });
  };
  farm.Do(set("1"));
  farm.Do(set("2"));
  const std::string why = farm.Revert({1});
  EXPECT_THAT(why, testing::AllOf(HasSubstr("'option 4'"), testing::Not(HasSubstr("'option 5'"))));
  EXPECT_TRUE(why.ends_with("; and 3 more")) << why;
}

TEST(Revert, OfSeveralNeedsThoseInBetween) {
  RecordedFarm farm;
  for (const char* value : {"1", "2", "3"})
    farm.Do(OptionMessage("a", value));
  EXPECT_THAT(farm.Revert({3, 1}), HasSubstr("is not as change 1 left it: 'ann' changed it since"));
  ASSERT_EQ(farm.Revert({3, 1, 2, 1}), "");
  EXPECT_TRUE(farm.m_Farm.m_Options.empty());
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

TEST(Revert, OfAProductWhoseNameIsTakenIsRefused) {
  RecordedFarm farm;
  farm.Do(InstallProduct(MakeProduct(3, "Own")));
  const int64_t removal = farm.Do(RemoveProduct(Type(3)));
  farm.Do(InstallProduct(MakeProduct(4, "Other", {"own"})));
  EXPECT_THAT(farm.Revert({removal}), HasSubstr("The name 'Own' already belongs to the product 'Other'"));
  const int64_t removal1 = farm.Do(RemoveProduct(Type(1)));
  const int64_t taken = farm.Do(InstallProduct(MakeProduct(5, "alpha")));
  EXPECT_THAT(farm.Revert({removal1}), HasSubstr("The name 'Alpha' already belongs to the product 'alpha'"))
      << "a default product that would not show";
  ASSERT_EQ(farm.Revert({removal1, taken}), "");
  EXPECT_TRUE(farm.m_Farm.m_Products.Find(Type(1)));
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

TEST(Revert, SaysOfEachRecordWhyItCannotBe) {
  RecordedFarm farm;
  farm.Do(OptionMessage("a", "1"));
  farm.m_Records.erase(1); // has left
  EXPECT_FALSE(farm.Ask(*OptionMessage("", "1")));
  farm.Record("GetMasterOptionsMsg", "answered", {});
  farm.Record("ShutdownMsg", "committed", {});
  farm.Record("SetMasterOptionsMsg", "committed", {}).m_IsOfLayout1 = true;
  farm.Do(OptionMessage("a", "1")); // as it is
  const std::string before = Describe(farm.m_Farm);
  EXPECT_EQ(farm.Revert({0}), "Nothing was reverted: there is no change 0");
  EXPECT_EQ(farm.Revert({99, 1, 2, 3}),
            "Nothing was reverted: there is no change 99; 3 only asked something; 2 was refused and changed "
            "nothing; the record of change 1 has left the trail, which begins with 2 now");
  EXPECT_EQ(farm.Revert({4}), "Nothing was reverted: 4 was an operation (to shut the system down), which "
                              "cannot be taken back");
  const int64_t revoked = farm.Record("RevokeClientMsg", "committed", {}).m_Sequence;
  EXPECT_EQ(
      farm.Revert({revoked}),
      fmt::format("Nothing was reverted: {} was about certificates (to revoke a certificate), which is not "
                  "taken back",
                  revoked));
  EXPECT_EQ(farm.Revert({5}), "Nothing was reverted: 5 was recorded by an earlier version, which did not "
                              "keep what it changed");
  EXPECT_EQ(farm.Revert({6}), "Nothing was reverted: 6 changed no settings");
  TrailRecord& damaged = farm.Record("SetMasterOptionsMsg", "committed", {});
  damaged.m_Load = []() -> rlib::Result<std::shared_ptr<const Change>> { return rlib::Failure("damaged"); };
  EXPECT_EQ(farm.Revert({damaged.m_Sequence}),
            fmt::format("Nothing was reverted: what {} changed cannot be read any more: damaged",
                        damaged.m_Sequence));
  EXPECT_EQ(Describe(farm.m_Farm), before);
}

TEST(Revert, TakesSomeChangesButNotAnyNumber) {
  RecordedFarm farm;
  EXPECT_EQ(farm.Revert({}), "It names no change to revert");
  EXPECT_THAT(farm.Revert(std::vector<int64_t>(k_MaxReverted + 1, 1)), HasSubstr("It names 1001 changes"));
  const String large(std::string(k_MaxUserLimits, 'x'));
  Change change;
  for (int i = 0; i != 9; ++i) // each of two values is kept once, and counts
    change.m_Options.push_back({Type(1), fmt::format("o{}", i), {large, large}});
  farm.m_Records[1] = {1,
                       0,
                       "ann",
                       "SetMasterOptionsMsg",
                       "committed",
                       false,
                       [kept = std::make_shared<const Change>(change)] { return kept; }};
  farm.m_Newest = 1;
  farm.Do(OptionMessage("a", "1"));
  EXPECT_THAT(farm.Revert({1, 2}), HasSubstr("the changes have more than 268435456 bytes together"));
}

TEST(Revert, KeepsToTheRulesOfToday) {
  RecordedFarm farm;
  Change change; // which an earlier version allowed
  change.m_Options = {{UID::Null, o_Message, {String(std::string(k_MaxMessage + 1, 'x')), String("1")}}};
  farm.Record("SetMasterOptionsMsg", "committed", change);
  EXPECT_THAT(farm.Revert({1}), HasSubstr("The value of the option 'Message' has 32769 bytes"));
}

TEST(Revert, ATrailThatDoesNotLeadToTheFarmIsRefused) {
  RecordedFarm farm;
  farm.Do(SetTranslations(List({"/a"})));
  farm.Do(SetTranslations(List({"/a", "/b"})));
  farm.m_Farm.m_Translations = List({"/c"});
  EXPECT_THAT(farm.Revert({1}), HasSubstr("The audit trail does not lead to what the Master holds"));
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
