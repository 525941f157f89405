// What is not reverted, and why.
#include <gmock/gmock.h>

#include "farm/RandomRequests.h"
#include "farm/RecordedFarm.h"
#include "farm/Revert.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

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

} // namespace
} // namespace brenic::master
