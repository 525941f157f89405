#include "client/Basis.h"

#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic {
namespace {

shared_ptr<PathTranslationsMsg> Translations(const rlib::vector<TranslationSet>& list) {
  const auto message = MessageFactory::Create<PathTranslationsMsg>();
  message->m_Translations = list;
  return message;
}

shared_ptr<SetMasterOptionsMsg> Options(const OptionMap& options) {
  const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
  message->m_Section = o_Distribution;
  message->m_Options = options;
  return message;
}

const rlib::vector<TranslationSet> k_List{{{0, Path("X:")}, {1, Path("/x")}}, {}};

TEST(Basis, IsEmptyUntilAValueWasDelivered) {
  const Basis basis;
  EXPECT_EQ(basis.For(*Translations(k_List)), "");
  EXPECT_EQ(basis.For(*Options({{o_UserLimits, "a=1;"}})), "");
}

TEST(Basis, IsOfTheValueThatWasDeliveredAndNotOfTheWrittenOne) {
  Basis basis;
  basis.Delivered(Translations(k_List));
  basis.Delivered(Options({{o_UserLimits, "a=1;"}}));
  EXPECT_EQ(basis.For(*Translations({})), Sha256(wire::EncodeTranslations(k_List)));
  EXPECT_EQ(basis.For(*Options({{"Message", "m"}, {"USERLIMITS", ""}})), Sha256("a=1;"));
}

TEST(Basis, IsOfTheLastValueThatWasDelivered) {
  Basis basis;
  for (const rlib::vector<TranslationSet>& list : {k_List, rlib::vector<TranslationSet>()})
    basis.Delivered(Translations(list));
  for (const char* text : {"a=1;", ""})
    basis.Delivered(Options({{o_UserLimits, text}}));
  EXPECT_EQ(basis.For(*Translations(k_List)), Sha256(""));
  EXPECT_EQ(basis.For(*Options({{o_UserLimits, "b=1;"}})), Sha256(""));
}

TEST(Basis, OfOneValueIsNoneOfTheOther) {
  Basis basis;
  basis.Delivered(Translations(k_List));
  EXPECT_EQ(basis.For(*Options({{o_UserLimits, ""}})), "");
  Basis other;
  other.Delivered(Options({{o_UserLimits, "a=1;"}}));
  EXPECT_EQ(other.For(*Translations({})), "");
}

TEST(Basis, IsEmptyForAMessageThatOverwritesNoWholeValue) {
  Basis basis;
  basis.Delivered(Translations(k_List));
  basis.Delivered(Options({{o_UserLimits, "a=1;"}}));
  EXPECT_EQ(basis.For(*Options({{"MaxJobs", "1"}})), "");
  EXPECT_EQ(basis.For(*MessageFactory::Create<RemoveProductMsg>()), "");
  basis.Delivered(Options({{"MaxJobs", "1"}}));
  EXPECT_EQ(basis.For(*Options({{o_UserLimits, ""}})), Sha256("a=1;")) << "other options change nothing";
}

TEST(Basis, HoldsTheDeliveredMessageItselfAndLetsGoOfTheEarlierOne) {
  // What is held is the message as it came: nothing was computed from it and nothing copied.
  Basis basis;
  const auto first = Translations(k_List), second = Translations({});
  const boost::weak_ptr<PathTranslationsMsg> held = first;
  basis.Delivered(first);
  EXPECT_EQ(held.use_count(), 2);
  basis.Delivered(second);
  EXPECT_EQ(held.use_count(), 1);
  basis.Delivered(Options({{"MaxJobs", "1"}}));
  EXPECT_EQ(second.use_count(), 2);
}

} // namespace
} // namespace brenic
