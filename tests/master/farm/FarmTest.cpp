#include "farm/Farm.h"

#include <gmock/gmock.h>

#include "master/farm/Samples.h"
#include "serve/Snapshot.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(OptionNames, KeepTheirFirstSpelling) {
  Farm farm;
  Effect effect;
  effect.m_Options["MaxJobs"] = "1";
  farm.Take(effect);
  effect.m_Options.clear();
  effect.m_Options["MAXJOBS"] = "2";
  farm.Take(effect);
  EXPECT_THAT(farm.m_Options, ElementsAre(Pair(String("MaxJobs"), String("2"))));
}

TEST(Catalogue, ARemovedDefaultStaysRemovedUntilTheReset) {
  Farm farm = SampleFarm();
  Effect remove;
  remove.m_Remove = Type(1);
  farm.Take(remove);
  EXPECT_FALSE(farm.m_Products.Find(Type(1)));
  EXPECT_EQ(farm.m_Products.Effective().size(), 1u);
  remove.m_Remove = UID::Null;
  farm.Take(remove);
  EXPECT_TRUE(farm.m_Products.Find(Type(1)));
}

TEST(Catalogue, AnInstalledProductHidesTheDefaultAndComesBackAfterARemoval) {
  Farm farm = SampleFarm();
  Effect install;
  install.m_Install = MakeProduct(1, "Alpha two");
  farm.Take(install);
  EXPECT_EQ(farm.m_Products.Find(Type(1))->Name(), "Alpha two");
  EXPECT_EQ(farm.m_Products.Effective().size(), 2u);
  Effect remove;
  remove.m_Remove = Type(1);
  farm.Take(remove);
  EXPECT_FALSE(farm.m_Products.Find(Type(1))) << "the default does not come out from under it";
  farm.Take(install);
  EXPECT_TRUE(farm.m_Products.IsCustom(Type(1)));
}

TEST(Catalogue, ADefaultProductGivesWayToAnInstalledOneWithItsNameAndComesBackWithoutIt) {
  for (const bool defaultFirst : {true, false}) {
    ProductCatalogue products;
    if (!defaultFirst)
      products.Install(MakeProduct(9, "Own", {"alpha"}));
    products.AddDefault(MakeProduct(1, "Alpha"));
    if (defaultFirst)
      products.Install(MakeProduct(9, "Own", {"alpha"}));
    EXPECT_FALSE(products.Find(Type(1)));
    EXPECT_EQ(products.Hidden(), std::set<UID>{Type(1)});
    ProductCatalogue without = products;
    without.Remove(Type(9));
    EXPECT_TRUE(without.Find(Type(1)));
    EXPECT_TRUE(without.Hidden().empty());
    ProductCatalogue renamed = products;
    renamed.Install(MakeProduct(9, "Own"));
    EXPECT_TRUE(renamed.Find(Type(1)));
    products.Reset();
    EXPECT_TRUE(products.Find(Type(1)));
    EXPECT_FALSE(products.Find(Type(9)));
  }
}

TEST(Translations, AreTheSameAfterEncodingAndDecoding) {
  const rlib::vector<TranslationSet> list{{{0, "X:\\"}, {1, "/x"}}, {}, {{2, "/Volumes/\xc3\xa4"}}};
  EXPECT_EQ(DecodeTranslations(EncodeTranslations(list)), list);
  EXPECT_EQ(EncodeTranslations({}), "");
}

TEST(ProductDigest, DependsOnEveryProduct) {
  Farm farm = SampleFarm();
  const std::string before = MakeProductFrames(farm)->m_Digest;
  EXPECT_EQ(MakeProductFrames(farm)->m_Digest, before);
  Effect install;
  install.m_Install = MakeProduct(2, "Beta", {"b"});
  farm.Take(install);
  EXPECT_NE(MakeProductFrames(farm)->m_Digest, before);
}

TEST(ProductFrames, AreCutIntoParts) {
  Farm farm;
  for (uint8_t i = 1; i <= 5; ++i) {
    const auto product = boost::make_shared<const Product>(Type(i), String("p"), rlib::vector<String>{},
                                                           std::string(600'000, 'x'));
    farm.m_Products.Install(product);
  }
  EXPECT_EQ(MakeProductFrames(farm)->m_Parts.size(), 5u);
}

} // namespace
} // namespace brenic::master
