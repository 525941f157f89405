#include "farm/Judgement.h"

#include <gmock/gmock.h>

#include "brenic/Options.h"
#include "brenic/ProductMessages.h"
#include "brenic/SystemMessages.h"
#include "farm/Samples.h"
#include "farm/Utf8.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

std::string RefusalOf(const Message& message, const MachineCommandLines& commands = {}) {
  const auto judgement = Judge(SampleFarm(), commands, message);
  return judgement ? "" : judgement.Reason().str();
}

shared_ptr<SetMasterOptionsMsg> Option(const String& section, const String& name, const String& value) {
  return Make<SetMasterOptionsMsg>([&](auto& message) {
    message.m_Section = section;
    message.m_Options[name] = value;
  });
}

TEST(Options, AreTakenForTheGlobalSectionInAnyCase) {
  const auto judgement = Judge(SampleFarm(), {}, *Option("dISTRIBUTION", "MaxJobs", "5"));
  ASSERT_TRUE(judgement);
  EXPECT_EQ(judgement->m_Change.m_Options,
            (std::vector<OptionChange>{{UID::Null, "MaxJobs", {std::nullopt, String("5")}}}));
}

TEST(Options, AreTakenForAnExistingType) {
  const auto judgement = Judge(SampleFarm(), {}, *Option(Type(1).ToString(), "Samples", "5"));
  ASSERT_TRUE(judgement);
  EXPECT_EQ(judgement->m_Change.m_Options.at(0).m_Section, Type(1));
}

TEST(Options, OfAnUnknownSectionAreRefused) {
  EXPECT_THAT(RefusalOf(*Option(Type(9).ToString(), "a", "1")), HasSubstr("no product of the type"));
  EXPECT_THAT(RefusalOf(*Option(UID::Null.ToString(), "a", "1")), HasSubstr("no product of the type"));
  EXPECT_THAT(RefusalOf(*Option("Other", "a", "1")), HasSubstr("m_Section: 'Other'"));
}

struct BadText {
  String m_Name, m_Value;
  const char* m_Reason;
};
class BadOption : public testing::TestWithParam<BadText> {};
TEST_P(BadOption, IsRefusedWithFieldAndReason) {
  const auto& [name, value, reason] = GetParam();
  EXPECT_THAT(RefusalOf(*Option("Distribution", name, value)),
              testing::AllOf(HasSubstr("m_Options"), HasSubstr(reason)));
}
INSTANTIATE_TEST_SUITE_P(
    Each, BadOption,
    testing::Values(BadText{"", "1", "a name is empty"},
                    BadText{String(std::string(257, 'x')), "1", "257 bytes, where 256 are allowed"},
                    BadText{"a\nb", "1", "control character"}, BadText{"a", "1\x7f", "control character"},
                    BadText{"a", "\xc3", "not valid UTF-8"}, BadText{"a\xff", "1", "not valid UTF-8"},
                    BadText{"a", String(std::string(65537, 'x')), "65537 bytes, where 65536 are allowed"},
                    BadText{o_UserLimits, String(std::string(k_MaxUserLimits + 1, 'x')), "16777217 bytes"},
                    BadText{"mESSAGE", String(std::string(k_MaxMessage + 1, 'x')),
                            "32769 bytes, where 32768"},
                    BadText{o_DefaultIdleTimeout, "soon", "whole number of minutes"},
                    BadText{o_DefaultIdleTimeout, "-1", "whole number of minutes"}));

TEST(Options, AtTheirLimitsAreTaken) {
  EXPECT_EQ(
      RefusalOf(*Option("Distribution", String(std::string(256, 'x')), String(std::string(65536, 'x')))), "");
  EXPECT_EQ(RefusalOf(*Option("Distribution", "userLIMITS", String(std::string(k_MaxUserLimits, 'x')))), "");
  EXPECT_EQ(RefusalOf(*Option("Distribution", o_Message, String(std::string(k_MaxMessage, 'x')))), "");
  EXPECT_EQ(RefusalOf(*Option(Type(1).ToString(), o_Message, String(std::string(k_MaxValue, 'x')))), "");
}

TEST(UserLimitsName, IsAnOrdinaryOptionOfAType) {
  EXPECT_THAT(RefusalOf(*Option(Type(1).ToString(), o_UserLimits, String(std::string(65537, 'x')))),
              HasSubstr("65536"));
}

TEST(UserLimits, OfVeryManyPiecesAreChangedAsOneText) {
  const Farm farm;
  const String few(std::string(k_MaxPieces - 1, ';')), many(std::string(k_MaxPieces, ';'));
  EXPECT_TRUE(ChangeOf(farm, *Option("Distribution", o_UserLimits, few)).m_UserLimits);
  const Change change = ChangeOf(farm, *Option("Distribution", o_UserLimits, many));
  EXPECT_FALSE(change.m_UserLimits);
  EXPECT_EQ(change.m_Options, (std::vector<OptionChange>{{UID::Null, o_UserLimits, {std::nullopt, many}}}));
}

TEST(Options, ThatChangeTooMuchAtOnceAreRefused) {
  Farm farm;
  const auto clear = MessageFactory::Create<SetMasterOptionsMsg>();
  clear->m_Section = o_Distribution;
  for (size_t i = 0; i <= k_MaxChange / k_MaxValue; ++i) {
    const String name = fmt::format("option{}", i);
    farm.m_Options[name] = String(std::string(k_MaxValue, 'x'));
    clear->m_Options[name] = "";
  }
  const auto judgement = Judge(farm, {}, *clear);
  ASSERT_FALSE(judgement);
  EXPECT_THAT(judgement.Reason().str(), HasSubstr("change fewer options at a time"));
  clear->m_Options.erase("option0");
  EXPECT_TRUE(Judge(farm, {}, *clear));
}

TEST(Reply, HoldsEveryNameThatWasAskedFor) {
  Farm farm = SampleFarm();
  farm.m_Options["MaxJobs"] = "5";
  const auto message = Make<GetMasterOptionsMsg>([](auto& m) {
    m.m_OptionNames = {"maxjobs", o_UserLimits};
  });
  const auto judgement = Judge(farm, {}, *message);
  ASSERT_TRUE(judgement && judgement->m_Reply);
  const auto& reply = static_cast<const SetMasterOptionsMsg&>(*judgement->m_Reply);
  EXPECT_EQ(reply.m_Section, o_Distribution);
  EXPECT_THAT(reply.m_Options, testing::ElementsAre(testing::Pair(String("maxjobs"), String("5")),
                                                    testing::Pair(String("UserLimits"), String(""))));
}

TEST(Limits, FromMinusOneUpAreTaken) {
  const auto limit = [](const UID& type, int workers) {
    return Make<SetMasterLimitsMsg>([&](auto& m) { m.m_Limits[type] = workers; });
  };
  EXPECT_EQ(RefusalOf(*limit(Type(1), -1)), "");
  EXPECT_EQ(RefusalOf(*limit(Type(1), INT_MAX)), "");
  EXPECT_THAT(RefusalOf(*limit(Type(1), -2)), HasSubstr("the limit -2"));
  EXPECT_THAT(RefusalOf(*limit(Type(9), 1)), HasSubstr("m_Limits: there is no product"));
}

TEST(Restrictions, NeedAName) {
  const auto message = Make<SetMasterRestrictionsMsg>([](auto& m) { m.m_Restrictions[""] = true; });
  EXPECT_THAT(RefusalOf(*message), HasSubstr("m_Restrictions: a name is empty"));
}

shared_ptr<PathTranslationsMsg> Translations(rlib::vector<TranslationSet> list) {
  return Make<PathTranslationsMsg>([&](auto& message) { message.m_Translations = std::move(list); });
}

TEST(Translations, AreCheckedRootByRoot) {
  EXPECT_EQ(RefusalOf(*Translations({{{0, "X:\\"}, {1, "/x"}, {2, "/Volumes/x"}}})), "");
  EXPECT_THAT(RefusalOf(*Translations({{{1, "/x"}}, {{3, "/x"}}})),
              HasSubstr("m_Translations[1]: there is no platform 3"));
  EXPECT_THAT(RefusalOf(*Translations({{{1, Path(std::string(4097, 'x'))}}})), HasSubstr("4097 bytes"));
  EXPECT_THAT(RefusalOf(*Translations({{{1, "/x\n"}}})), HasSubstr("control character"));
  EXPECT_THAT(RefusalOf(*Translations(rlib::vector<TranslationSet>(100'001))),
              HasSubstr("100001 translations"));
}

TEST(Basis, OfTheCurrentTranslationsIsAccepted) {
  Farm farm;
  const auto write = Translations({});
  EXPECT_TRUE(CheckBasis(farm, *write, Sha256("")));
  farm.m_Translations = {{{1, "/x"}}};
  EXPECT_TRUE(CheckBasis(farm, *write, Sha256(wire::EncodeTranslations(farm.m_Translations))));
  EXPECT_THAT(
      CheckBasis(farm, *write, Sha256("")).Reason().str(),
      HasSubstr("changed by someone else in the meantime; this request changed nothing and can be repeated"));
}

TEST(Basis, ThatCannotBeComparedIsRefusedAndNotIgnored) {
  const Farm farm = SampleFarm();
  EXPECT_EQ(CheckBasis(farm, *OptionMessage("a", "1"), Sha256("")).Reason().str(),
            "It has a basis, but is not the write of a whole value");
  EXPECT_EQ(CheckBasis(farm, *OptionMessage(o_UserLimits, ""), "short").Reason().str(),
            "Its basis has 5 bytes instead of 32");
}

TEST(Basis, OfUserLimitsIsTheirText) {
  Farm farm;
  const auto write = Option("Distribution", "userlimits", "bob=5;");
  EXPECT_TRUE(CheckBasis(farm, *write, Sha256("")));
  farm.m_Options[o_UserLimits] = "ann=1;";
  EXPECT_TRUE(CheckBasis(farm, *write, Sha256("ann=1;")));
  EXPECT_FALSE(CheckBasis(farm, *write, Sha256("")));
  EXPECT_TRUE(CheckBasis(farm, *write, "")) << "a write without basis is accepted";
}

TEST(MachineRequest, IsRefusedUnlessItsCommandIsConfigured) {
  const auto machine = [](int command, const UID& which = UID::Null) {
    return Make<MachineMsg>([&](auto& message) {
      message.m_Command = command;
      message.m_Machine = which;
    });
  };
  const MachineCommandLines commands{"reboot", ""};
  EXPECT_EQ(RefusalOf(*machine(MachineMsg::k_Reboot), commands), "");
  EXPECT_THAT(RefusalOf(*machine(MachineMsg::k_Reboot)), HasSubstr("has no RebootCommand"));
  EXPECT_THAT(RefusalOf(*machine(MachineMsg::k_Shutdown), commands), HasSubstr("has no ShutdownCommand"));
  EXPECT_THAT(RefusalOf(*machine(7), commands), HasSubstr("no machine command 7"));
  EXPECT_THAT(RefusalOf(*machine(MachineMsg::k_Reboot, Type(1)), commands), HasSubstr("its own machine"));
}

TEST(MessageOfTheMaster, IsRefusedFromAClient) {
  EXPECT_THAT(RefusalOf(*MessageFactory::Create<EndProductsMsg>()), HasSubstr("may not send EndProductsMsg"));
}

TEST(ProductRequest, IsRefusedWhenANameIsTaken) {
  const auto install = [](shared_ptr<const Product> product) {
    return Make<ProductMsg>(
        [&](auto& message) { message.m_Product = boost::const_pointer_cast<Product>(product); });
  };
  EXPECT_EQ(RefusalOf(*install(MakeProduct(3, "Gamma", {"g"}))), "");
  EXPECT_EQ(RefusalOf(*install(MakeProduct(1, "Alpha two", {"A"}))), "") << "its own names may stay";
  EXPECT_THAT(RefusalOf(*install(MakeProduct(3, "ALPHA"))), HasSubstr("already has its name"));
  EXPECT_THAT(RefusalOf(*install(MakeProduct(3, "Gamma", {"beta"}))), HasSubstr("'Beta'"));
}

TEST(RemovalOfAProduct, NeedsAnExistingOrTheNullType) {
  const auto remove = [](const UID& type) {
    return Make<RemoveProductMsg>([&](auto& message) { message.m_ProductType = type; });
  };
  EXPECT_EQ(RefusalOf(*remove(Type(1))), "");
  EXPECT_EQ(RefusalOf(*remove(UID::Null)), "");
  EXPECT_THAT(RefusalOf(*remove(Type(9))), HasSubstr("productType"));
}

TEST(Utf8, IsWhatTheStandardSays) {
  for (const char* good : {"", "a", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
                           "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
    EXPECT_TRUE(IsUtf8(good)) << testing::PrintToString(good);
  for (const char* bad :
       {"\x80", "\xc0\x80", "\xc1\xbf", "\xc2", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
        "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xe2\x82", "\xe2\x82x"})
    EXPECT_FALSE(IsUtf8(bad)) << testing::PrintToString(bad);
}

} // namespace
} // namespace brenic::master
