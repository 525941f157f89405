#include "farm/Farm.h"

#include <gmock/gmock.h>

#include "farm/Samples.h"
#include "serve/Snapshot.h"
#include "wire/Contents.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::Pair;

void Take(Farm& farm, const shared_ptr<Message>& message) {
  farm.Take(ChangeOf(farm, *message));
}

TEST(OptionNames, KeepTheirFirstSpelling) {
  Farm farm;
  Take(farm, OptionMessage("MaxJobs", "1"));
  Take(farm, OptionMessage("MAXJOBS", "2"));
  EXPECT_THAT(farm.m_Options, ElementsAre(Pair(String("MaxJobs"), String("2"))));
}

TEST(Catalogue, ARemovedDefaultStaysRemovedUntilTheReset) {
  Farm farm = SampleFarm();
  Take(farm, RemoveProduct(Type(1)));
  EXPECT_FALSE(farm.m_Products.Find(Type(1)));
  EXPECT_EQ(farm.m_Products.Effective().size(), 1u);
  Take(farm, RemoveProduct(UID::Null));
  EXPECT_TRUE(farm.m_Products.Find(Type(1)));
}

TEST(Catalogue, AnInstalledProductHidesTheDefaultAndComesBackAfterARemoval) {
  Farm farm = SampleFarm();
  Take(farm, InstallProduct(MakeProduct(1, "Alpha two")));
  EXPECT_EQ(farm.m_Products.Find(Type(1))->Name(), "Alpha two");
  EXPECT_EQ(farm.m_Products.Effective().size(), 2u);
  Take(farm, RemoveProduct(Type(1)));
  EXPECT_FALSE(farm.m_Products.Find(Type(1))) << "the default does not come out from under it";
  Take(farm, InstallProduct(MakeProduct(1, "Alpha two")));
  EXPECT_TRUE(farm.m_Products.IsCustom(Type(1)));
}

TEST(Catalogue, ADefaultProductGivesWayToAnInstalledOneWithItsNameAndComesBackWithoutIt) {
  for (const bool defaultFirst : {true, false}) {
    ProductCatalogue products;
    if (!defaultFirst)
      products.Customise({{Type(9), Customisation{MakeProduct(9, "Own", {"alpha"})}}});
    products.AddDefault(MakeProduct(1, "Alpha"));
    if (defaultFirst)
      products.Customise({{Type(9), Customisation{MakeProduct(9, "Own", {"alpha"})}}});
    EXPECT_FALSE(products.Find(Type(1)));
    EXPECT_EQ(products.Hidden(), std::set<UID>{Type(1)});
    ProductCatalogue without = products;
    without.Customise({{Type(9), std::nullopt}});
    EXPECT_TRUE(without.Find(Type(1)));
    EXPECT_TRUE(without.Hidden().empty());
    ProductCatalogue renamed = products;
    renamed.Customise({{Type(9), Customisation{MakeProduct(9, "Own")}}});
    EXPECT_TRUE(renamed.Find(Type(1)));
    products.Customise({{Type(9), std::nullopt}});
    EXPECT_TRUE(products.Find(Type(1)));
    EXPECT_FALSE(products.Find(Type(9)));
  }
}

TEST(Catalogue, DoesNotDependOnTheOrderInWhichTypesAreCustomised) {
  // The second product takes a name that only the first one's default had; it is of the smaller type.
  ProductCatalogue defaults;
  defaults.AddDefault(MakeProduct(5, "Shell", {"shell task"}));
  const auto one = MakeProduct(5, "One"), two = MakeProduct(3, "Two", {"shell"});
  ProductCatalogue oneByOne = defaults, together = defaults;
  oneByOne.Customise({{Type(5), Customisation{one}}});
  oneByOne.Customise({{Type(3), Customisation{two}}});
  together.Customise({{Type(3), Customisation{two}}, {Type(5), Customisation{one}}});
  for (const ProductCatalogue& products : {oneByOne, together}) {
    EXPECT_EQ(products.FindNameClash(*MakeProduct(9, "SHELL"))->m_Product, two);
    EXPECT_EQ(products.FindNameClash(*MakeProduct(9, "one"))->m_Product, one);
    EXPECT_FALSE(products.FindNameClash(*MakeProduct(9, "Shell Task")));
    EXPECT_EQ(products.Effective().size(), 2u);
    EXPECT_TRUE(products.Hidden().empty());
  }
}

TEST(Translations, AreTheSameAfterEncodingAndDecoding) {
  const rlib::vector<TranslationSet> list{{{0, "X:\\"}, {1, "/x"}}, {}, {{2, "/Volumes/\xc3\xa4"}}};
  EXPECT_EQ(wire::DecodeTranslations(wire::EncodeTranslations(list)), list);
  EXPECT_EQ(wire::EncodeTranslations({}), "");
}

TEST(ProductDigest, DependsOnEveryProduct) {
  Farm farm = SampleFarm();
  const std::string before = MakeProductFrames(farm)->m_Digest;
  EXPECT_EQ(MakeProductFrames(farm)->m_Digest, before);
  Take(farm, InstallProduct(MakeProduct(2, "Beta", {"b"})));
  EXPECT_NE(MakeProductFrames(farm)->m_Digest, before);
}

TEST(ProductFrames, AreCutIntoParts) {
  Farm farm;
  for (uint8_t i = 1; i <= 5; ++i) {
    const auto product = boost::make_shared<const Product>(Type(i), String("p"), rlib::vector<String>{},
                                                           std::string(600'000, 'x'));
    farm.m_Products.Customise({{Type(i), Customisation{product}}});
  }
  EXPECT_EQ(MakeProductFrames(farm)->m_Parts.size(), 5u);
}

} // namespace
} // namespace brenic::master
