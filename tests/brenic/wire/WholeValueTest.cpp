#include "wire/WholeValue.h"

#include <gtest/gtest.h>

#include "Hex.h"
#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

using namespace brenic;

namespace {

SetMasterOptionsMsg Options(const String& section, const OptionMap& options) {
  SetMasterOptionsMsg message;
  message.m_Section = section;
  message.m_Options = options;
  return message;
}

TEST(WholeValue, IsInTheListOfTranslationsAndInTheUserLimits) {
  EXPECT_EQ(wire::WholeValueIn(PathTranslationsMsg()), wire::WholeValue::k_PathTranslations);
  for (const char* section : {"Distribution", "DISTRIBUTION"}) {
    for (const char* name : {"UserLimits", "userlimits"})
      EXPECT_EQ(wire::WholeValueIn(Options(section, {{"a", "1"}, {name, ""}})),
                wire::WholeValue::k_UserLimits);
  }
}

TEST(WholeValue, IsInNothingElse) {
  EXPECT_FALSE(wire::WholeValueIn(Options("Distribution", {{"MaxJobs", "1"}})));
  EXPECT_FALSE(wire::WholeValueIn(Options("Distribution", {})));
  EXPECT_FALSE(wire::WholeValueIn(Options("", {{o_UserLimits, "a=1;"}})));
  EXPECT_FALSE(wire::WholeValueIn(Options(UID(true).ToString(), {{o_UserLimits, "a=1;"}})));
  EXPECT_FALSE(wire::WholeValueIn(GetMasterOptionsMsg()));
  EXPECT_FALSE(wire::WholeValueIn(SetMasterRestrictionsMsg()));
  EXPECT_FALSE(wire::WholeValueIn(ShutdownMsg()));
}

TEST(BasisOf, IsTheDigestOfTheEncodedTranslations) {
  PathTranslationsMsg message;
  EXPECT_EQ(ToHex(wire::BasisOf(message)),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"); // of no bytes
  message.m_Translations = {{{0, Path("X:")}, {1, Path("/x")}}, {}};
  EXPECT_EQ(wire::BasisOf(message), Sha256(wire::EncodeTranslations(message.m_Translations)));
  // The list's bytes, put together by hand.
  EXPECT_EQ(wire::BasisOf(message), Sha256(FromHex("0a0e0a041202583a0a06080112022f780a00")));
}

TEST(BasisOf, IsTheDigestOfTheTextOfTheUserLimits) {
  EXPECT_EQ(wire::BasisOf(Options(o_Distribution, {{"a", "1"}, {"userLIMITS", "ann=1;"}})), Sha256("ann=1;"));
  EXPECT_EQ(wire::BasisOf(Options(o_Distribution, {{o_UserLimits, ""}})), Sha256(""));
}

} // namespace
