// What holds for the changes of any requests, and for any text.
#include <gtest/gtest.h>

#include "farm/Change.h"
#include "farm/RandomRequests.h"

namespace brenic::master {
namespace {

/// What a request asks for, done in the plainest way.
Farm AskedFor(Farm farm, const Message& message) {
  if (message.Type() == SetMasterOptionsMsg::s_Type) {
    const auto& options = static_cast<const SetMasterOptionsMsg&>(message);
    UID section;
    const bool global = !section.FromString(options.m_Section);
    for (const auto& [name, value] : options.m_Options)
      (global ? farm.m_Options : farm.m_TypeOptions[section])[name] = value;
  } else if (message.Type() == SetMasterLimitsMsg::s_Type) {
    for (const auto& [type, limit] : static_cast<const SetMasterLimitsMsg&>(message).m_Limits)
      farm.m_Limits[type] = limit;
  } else if (message.Type() == SetMasterRestrictionsMsg::s_Type) {
    for (const auto& [name, on] : static_cast<const SetMasterRestrictionsMsg&>(message).m_Restrictions)
      on ? (void)farm.m_Restrictions.insert(name) : (void)farm.m_Restrictions.erase(name);
  } else if (message.Type() == PathTranslationsMsg::s_Type) {
    farm.m_Translations = static_cast<const PathTranslationsMsg&>(message).m_Translations;
  } else if (message.Type() == ProductMsg::s_Type) {
    const auto& product = static_cast<const ProductMsg&>(message).m_Product;
    farm.m_Products.Customise({{product->Type(), Customisation{product}}});
  } else if (message.Type() == RemoveProductMsg::s_Type) {
    const UID& type = static_cast<const RemoveProductMsg&>(message).m_ProductType;
    ProductCatalogue::States states;
    if (!type.IsNull())
      states[type] = farm.m_Products.IsDefault(type) ? std::optional(Customisation()) : std::nullopt;
    else
      for (const auto& entry : farm.m_Products.Customised())
        states[entry.first] = std::nullopt;
    farm.m_Products.Customise(states);
  }
  for (auto entry = farm.m_TypeOptions.begin(); entry != farm.m_TypeOptions.end();)
    entry = entry->second.empty() ? farm.m_TypeOptions.erase(entry) : std::next(entry);
  return farm;
}

TEST(Changes, OfAnyRequestsLeadForwardAsAskedAndBackwardToTheFirstFarm) {
  size_t changes = 0;
  size_t unchanged = 0;
  for (uint32_t seed = 0; seed != 60; ++seed) {
    const Farm first = FarmWithHiddenProduct();
    Farm farm = first;
    std::vector<Change> done;
    ForRandomChanges(seed, 80, farm, [&](const Message& message, const Change& change) {
      Farm after = farm;
      after.Take(change);
      EXPECT_EQ(Describe(after), Describe(AskedFor(farm, message))) << "seed " << seed << message.ClassName();
      EXPECT_EQ(Describe(after) == Describe(farm), change.IsEmpty()) << "seed " << seed;
      (change.IsEmpty() ? unchanged : changes) += 1;
      done.push_back(change);
    });
    const Farm last = farm;
    for (auto change = done.rbegin(); change != done.rend(); ++change)
      farm.Take(Inverse(*change));
    ASSERT_EQ(Describe(farm), Describe(first)) << "seed " << seed;
    for (const Change& change : done)
      farm.Take(change);
    ASSERT_EQ(Describe(farm), Describe(last)) << "seed " << seed;
    ASSERT_FALSE(testing::Test::HasFailure());
  }
  EXPECT_GT(changes, 2000u); // the requests are not all refused
  EXPECT_GT(unchanged, 50u);
}

TEST(Pieces, GiveTheTextAgainByteForByte) {
  struct Case {
    std::string m_Text;
    std::vector<String> m_Pieces;
  };
  for (const auto& [text, pieces] : std::vector<Case>{
           {"", {""}},
           {";", {"", ""}},
           {";;a", {"", "", "a"}},
           {"ann=1;bob=2", {"ann=1", "bob=2"}},
           {"ann=1;bob=2;", {"ann=1", "bob=2", ""}},
           {std::string("a\0;\0b;", 6), {String("a\0", 2), String("\0b", 2), ""}},
           {"\"a;b\"=1;c\\;d=2;", {"\"a", "b\"=1", "c\\", "d=2", ""}},
           {" ; \n;\xff;夜", {" ", " \n", "\xff", "夜"}},
       }) {
    EXPECT_EQ(SplitPieces(text), pieces) << text;
    EXPECT_EQ(JoinPieces(pieces), String(text)) << text;
  }
}

TEST(Pieces, GiveAnyTextAgain) {
  RandomRequests random(7);
  for (int i = 0; i != 2000; ++i) {
    std::string text;
    for (size_t size = random.Below(12); size != 0; --size)
      text += std::string_view(";;;a\"\0\xff=", 8)[random.Below(8)];
    EXPECT_EQ(JoinPieces(SplitPieces(text)), String(text));
  }
}

} // namespace
} // namespace brenic::master
