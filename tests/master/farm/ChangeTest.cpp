#include "farm/Change.h"

#include <gmock/gmock.h>

#include "farm/RandomRequests.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using Options = std::vector<OptionChange>;
using TextStep = Step<String>;

const std::optional<String> k_Unset;

/// What the request does, after which it was taken, turned round and taken again.
Change TakenAndTurnedRound(Farm& farm, const shared_ptr<Message>& message) {
  const Change change = ChangeOf(farm, *message);
  EXPECT_EQ(Inverse(Inverse(change)), change);
  const std::string before = Describe(farm);
  farm.Take(change);
  Farm back = farm;
  back.Take(Inverse(change));
  EXPECT_EQ(Describe(back), before);
  return change;
}

Farm With(const std::vector<shared_ptr<Message>>& messages, Farm farm = SampleFarm()) {
  for (const auto& message : messages)
    farm.Take(ChangeOf(farm, *message));
  return farm;
}

/// Only that one member may be set: the expected change has no other.
Change Only(Options options) {
  Change change;
  change.m_Options = std::move(options);
  return change;
}

TEST(OptionsChange, HoldsANewOptionWithNothingBefore) {
  Farm farm = SampleFarm();
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage("MaxJobs", "5")),
            Only({{UID::Null, "MaxJobs", TextStep{k_Unset, "5"}}}));
  EXPECT_EQ(farm.Option("MaxJobs"), "5");
}

TEST(OptionsChange, HoldsANewOptionWithAnEmptyValueToo) {
  Farm farm = SampleFarm();
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage("MaxJobs", "")),
            Only({{UID::Null, "MaxJobs", TextStep{k_Unset, ""}}}));
  EXPECT_EQ(farm.m_Options.count("MaxJobs"), 1u);
}

TEST(OptionsChange, HoldsBothValuesAndTheSpellingThatIsKept) {
  Farm farm = With({OptionMessage("MaxJobs", "5")});
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage("MAXJOBS", "6")),
            Only({{UID::Null, "MaxJobs", TextStep{"5", "6"}}}));
  EXPECT_THAT(farm.m_Options, ElementsAre(testing::Pair(String("MaxJobs"), String("6"))));
}

TEST(OptionsChange, LeavesOutWhatStaysInAnySpelling) {
  Farm farm = With({OptionMessage("MaxJobs", "5"), OptionMessage("Empty", "")});
  for (const char* name : {"MaxJobs", "maxjobs"})
    EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(name, "5")), Change());
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage("Empty", "")), Change());
  EXPECT_EQ(TakenAndTurnedRound(farm, Make<SetMasterOptionsMsg>([](auto& m) {
                                  m.m_Section = o_Distribution;
                                  m.m_Options = {{"a", "1"}, {"Empty", ""}, {"MAXJOBS", "7"}};
                                })),
            Only({{UID::Null, "a", TextStep{k_Unset, "1"}}, {UID::Null, "MaxJobs", TextStep{"5", "7"}}}));
}

TEST(OptionsChange, OfATypeNamesItAndLeavesNoEmptySectionBehind) {
  Farm farm = SampleFarm();
  const auto message = OptionMessage("Samples", "5", Type(1).ToString());
  EXPECT_EQ(TakenAndTurnedRound(farm, message), Only({{Type(1), "Samples", TextStep{k_Unset, "5"}}}));
  EXPECT_EQ(farm.OptionsOf(Type(1)).at("Samples"), "5");
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage("SAMPLES", "6", Type(1).ToString())),
            Only({{Type(1), "Samples", TextStep{"5", "6"}}}));
  farm.Take(Only({{Type(1), "Samples", TextStep{"6", k_Unset}}}));
  EXPECT_TRUE(farm.m_TypeOptions.empty());
}

TEST(OptionsChange, OfATypeWithTheNameOfTheUserLimitsIsAnOrdinaryOne) {
  Farm farm = SampleFarm();
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, "a=1;", Type(1).ToString())),
            Only({{Type(1), o_UserLimits, TextStep{k_Unset, "a=1;"}}}));
}

Change Limits(UserLimitsChange limits) {
  Change change;
  change.m_UserLimits = std::move(limits);
  return change;
}

TEST(UserLimitsChange, HoldsTheFirstOnesAgainstTheEmptyText) {
  Farm farm = SampleFarm();
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, "ann=1;")),
            Limits({o_UserLimits, false, true, {{{0, {}, {"ann=1"}}}}}));
  EXPECT_EQ(farm.Option(o_UserLimits), "ann=1;");
}

TEST(UserLimitsChange, HoldsThatTheyAreSetAlthoughTheTextIsEmptyBeforeAndAfter) {
  Farm farm = SampleFarm();
  const Change change = TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, ""));
  EXPECT_EQ(change, Limits({o_UserLimits, false, true, {}}));
  EXPECT_FALSE(change.IsEmpty());
  EXPECT_EQ(farm.m_Options.count(o_UserLimits), 1u);
}

TEST(UserLimitsChange, HoldsTheEditedUserAlone) {
  Farm farm = With({OptionMessage("userLIMITS", "ann=1;bob=2;cat=3;")});
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, "ann=1;bob=7;cat=3;")),
            Limits({"userLIMITS", true, true, {{{1, {"bob=2"}, {"bob=7"}}}}}));
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, "ann=1;bob=7;cat=3;dan=4;")),
            Limits({"userLIMITS", true, true, {{{3, {}, {"dan=4"}}}}}));
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, "bob=7;cat=3;dan=4;")),
            Limits({"userLIMITS", true, true, {{{0, {"ann=1"}, {}}}}}));
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage("USERLIMITS", "bob=7;cat=3;dan=4;")), Change());
  EXPECT_EQ(farm.m_Options.begin()->first, "userLIMITS");
}

TEST(UserLimitsChange, OfAllThatAreEmptiedHoldsThemAll) {
  Farm farm = With({OptionMessage(o_UserLimits, "ann=1;bob=2")});
  EXPECT_EQ(TakenAndTurnedRound(farm, OptionMessage(o_UserLimits, "")),
            Limits({o_UserLimits, true, true, {{{0, {"ann=1", "bob=2"}, {""}}}}}));
  EXPECT_EQ(farm.m_Options.at(o_UserLimits), "");
}

TEST(UserLimitsChange, StandsBesideTheOtherOptionsOfTheRequest) {
  Farm farm = SampleFarm();
  Change expected = Limits({o_UserLimits, false, true, {{{0, {}, {"a"}}}}});
  expected.m_Options = {{UID::Null, "Message", TextStep{k_Unset, "hi"}}};
  EXPECT_EQ(TakenAndTurnedRound(farm, Make<SetMasterOptionsMsg>([](auto& m) {
                                  m.m_Section = o_Distribution;
                                  m.m_Options = {{o_UserLimits, "a;"}, {"Message", "hi"}};
                                })),
            expected);
}

TEST(LimitsChange, HoldsEachLimitThatChangesWithNothingBeforeTheFirst) {
  Farm farm = SampleFarm();
  const auto set = [](int first, int second) {
    return Make<SetMasterLimitsMsg>([&](auto& m) { m.m_Limits = {{Type(1), first}, {Type(2), second}}; });
  };
  Change expected;
  expected.m_Limits = {{Type(1), {std::nullopt, -1}}, {Type(2), {std::nullopt, 0}}};
  EXPECT_EQ(TakenAndTurnedRound(farm, set(-1, 0)), expected);
  expected.m_Limits = {{Type(2), {0, 7}}};
  EXPECT_EQ(TakenAndTurnedRound(farm, set(-1, 7)), expected);
  EXPECT_EQ(TakenAndTurnedRound(farm, set(-1, 7)), Change());
  EXPECT_EQ(farm.m_Limits, (rlib::map<UID, int>{{Type(1), -1}, {Type(2), 7}}));
}

TEST(RestrictionsChange, HoldsThoseThatGoOnOrOff) {
  Farm farm = SampleFarm();
  const auto set = [](const rlib::map<String, bool>& restrictions) {
    return Make<SetMasterRestrictionsMsg>([&](auto& m) { m.m_Restrictions = restrictions; });
  };
  Change expected;
  expected.m_Restrictions = {{"a", true}, {"A", true}};
  EXPECT_EQ(TakenAndTurnedRound(farm, set({{"a", true}, {"A", true}, {"never", false}})), expected);
  expected.m_Restrictions = {{"a", false}};
  EXPECT_EQ(TakenAndTurnedRound(farm, set({{"a", false}, {"A", true}})), expected);
  EXPECT_EQ(TakenAndTurnedRound(farm, set({{"a", false}})), Change());
  EXPECT_THAT(farm.m_Restrictions, ElementsAre(String("A")));
}

TEST(TranslationsChange, HoldsTheRunsThatDiffer) {
  const TranslationSet x{{0, "X:"}, {1, "/x"}}, y{{1, "/y"}}, z{{2, ""}}, none;
  Farm farm = With({SetTranslations({x, y, x})});
  Change expected;
  expected.m_Translations = {{{1, {y}, {z, none}}}};
  EXPECT_EQ(TakenAndTurnedRound(farm, SetTranslations({x, z, none, x})), expected);
  EXPECT_THAT(farm.m_Translations, ElementsAre(x, z, none, x));
  EXPECT_EQ(TakenAndTurnedRound(farm, SetTranslations({x, z, none, x})), Change());
  expected.m_Translations = {{{0, {x, z, none, x}, {}}}};
  EXPECT_EQ(TakenAndTurnedRound(farm, SetTranslations({})), expected);
}

Change Products(const std::map<UID, Step<Customisation>>& products) {
  Change change;
  change.m_Products = products;
  return change;
}
const Customisation k_Removed;
Customisation Custom(const shared_ptr<const Product>& product) {
  return Customisation{product};
}

TEST(ProductsChange, HoldsTheDocumentsBeforeAndAfter) {
  Farm farm = SampleFarm();
  const auto first = MakeProduct(3, "Gamma"), second = MakeProduct(3, "Gamma", {"g"});
  EXPECT_EQ(TakenAndTurnedRound(farm, InstallProduct(first)),
            Products({{Type(3), {std::nullopt, Custom(first)}}}));
  EXPECT_EQ(TakenAndTurnedRound(farm, InstallProduct(second)),
            Products({{Type(3), {Custom(first), Custom(second)}}}));
  EXPECT_EQ(farm.m_Products.Find(Type(3))->Document(), second->Document());
}

TEST(ProductsChange, IsEmptyForTheSameDocument) {
  Farm farm = With({InstallProduct(MakeProduct(3, "Gamma"))});
  EXPECT_EQ(TakenAndTurnedRound(farm, InstallProduct(MakeProduct(3, "Gamma"))), Change());
}

TEST(ProductsChange, OfADefaultProductStartsFromNoCustomisationAlsoWithTheSameDocument) {
  Farm farm = SampleFarm();
  const auto same = farm.m_Products.Find(Type(1));
  EXPECT_EQ(TakenAndTurnedRound(farm, InstallProduct(same)),
            Products({{Type(1), {std::nullopt, Custom(same)}}}));
  EXPECT_TRUE(farm.m_Products.IsCustom(Type(1)));
}

TEST(ProductsChange, OfARemovedTypeStartsFromTheRemoval) {
  Farm farm = SampleFarm();
  EXPECT_EQ(TakenAndTurnedRound(farm, RemoveProduct(Type(1))),
            Products({{Type(1), {std::nullopt, k_Removed}}}));
  EXPECT_FALSE(farm.m_Products.Find(Type(1)));
  const auto own = MakeProduct(1, "Own");
  EXPECT_EQ(TakenAndTurnedRound(farm, InstallProduct(own)), Products({{Type(1), {k_Removed, Custom(own)}}}));
  EXPECT_EQ(TakenAndTurnedRound(farm, RemoveProduct(Type(1))),
            Products({{Type(1), {Custom(own), k_Removed}}}));
}

TEST(ProductsChange, OfACustomProductThatIsRemovedLeavesNothing) {
  const auto own = MakeProduct(3, "Gamma");
  Farm farm = With({InstallProduct(own)});
  EXPECT_EQ(TakenAndTurnedRound(farm, RemoveProduct(Type(3))),
            Products({{Type(3), {Custom(own), std::nullopt}}}));
  EXPECT_TRUE(farm.m_Products.Customised().empty());
}

TEST(ProductsChange, OfTheNullTypeTakesBackEveryCustomisation) {
  const auto one = MakeProduct(1, "One"), three = MakeProduct(3, "Beta"); // of a removed default's name
  Farm farm = With({RemoveProduct(Type(2)), InstallProduct(one), InstallProduct(three)});
  EXPECT_EQ(TakenAndTurnedRound(farm, RemoveProduct(UID::Null)),
            Products({{Type(1), {Custom(one), std::nullopt}},
                      {Type(2), {k_Removed, std::nullopt}},
                      {Type(3), {Custom(three), std::nullopt}}}));
  EXPECT_EQ(Describe(farm), Describe(SampleFarm()));
  EXPECT_EQ(TakenAndTurnedRound(farm, RemoveProduct(UID::Null)), Change());
}

TEST(DefaultsChange, HoldsWhatIsOtherInTheFolder) {
  Farm farm = SampleFarm();
  const auto alpha = farm.m_Products.Find(Type(1)), beta = farm.m_Products.Find(Type(2));
  // The new Alpha has the name of Beta, which has become another product.
  const auto newAlpha = MakeProduct(1, "Beta"), newBeta = MakeProduct(2, "Gamma"),
             own = MakeProduct(3, "New");
  Change change;
  AddDefaults(farm, {{Type(1), newAlpha}, {Type(2), newBeta}, {Type(3), own}}, change);
  EXPECT_EQ(change.m_Defaults,
            (std::map<UID, Step<Customisation>>{{Type(1), {Custom(alpha), Custom(newAlpha)}},
                                                {Type(2), {Custom(beta), Custom(newBeta)}},
                                                {Type(3), {std::nullopt, Custom(own)}}}));
  EXPECT_FALSE(change.IsEmpty());
  farm.Take(change);
  EXPECT_EQ(farm.m_Products.Find(Type(1))->Name(), "Beta");
  EXPECT_EQ(farm.m_Products.Find(Type(2))->Name(), "Gamma");
  EXPECT_TRUE(farm.m_Products.Hidden().empty());
  EXPECT_FALSE(farm.m_Products.IsCustom(Type(1)));

  Change none;
  AddDefaults(farm, farm.m_Products.Defaults(), none);
  EXPECT_TRUE(none.IsEmpty());
  Change gone;
  AddDefaults(farm, {}, gone);
  farm.Take(gone);
  EXPECT_TRUE(farm.m_Products.Effective().empty());
  farm.Take(Inverse(gone));
  farm.Take(Inverse(change));
  EXPECT_EQ(Describe(farm), Describe(SampleFarm()));
}

TEST(ProductsChange, BringsBackADefaultProductThatGaveWayAndHidesItAgain) {
  Farm farm = FarmWithHiddenProduct();
  ASSERT_EQ(farm.m_Products.Hidden(), std::set<UID>{Type(8)});
  (void)TakenAndTurnedRound(farm, RemoveProduct(Type(9)));
  EXPECT_TRUE(farm.m_Products.Find(Type(8)));
}

TEST(Changes, OfARequestThatOnlyReadsOrActsAreEmpty) {
  EXPECT_TRUE(Change().IsEmpty());
  Farm farm = With({OptionMessage("a", "1")});
  EXPECT_EQ(ChangeOf(farm, *Make<GetMasterOptionsMsg>([](auto& m) {
                       m.m_OptionNames = {"a", "b"};
                     })),
            Change());
}

TEST(Changes, OfAnotherTextOrListAreNotTaken) {
  Farm farm = With({OptionMessage(o_UserLimits, "ann=1;"), SetTranslations({{{1, "/x"}}})});
  const std::string before = Describe(farm);
  Change limits = Limits({o_UserLimits, true, true, {{{0, {"bob=1"}, {}}}}});
  Change translations;
  translations.m_Translations = {{{3, {}, {TranslationSet{}}}}};
  for (const Change& change : {limits, translations}) {
    try {
      Farm(farm).Take(change);
      ADD_FAILURE();
    } catch (Exception* error) {
      EXPECT_THAT(error->Message().str(), testing::HasSubstr("are not those that were changed"));
      delete error;
    }
  }
}

} // namespace
} // namespace brenic::master
