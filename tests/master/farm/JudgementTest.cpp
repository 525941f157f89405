#include "farm/Judgement.h"

#include <gmock/gmock.h>

#include "NumberedName.h"
#include "brenic/Options.h"
#include "brenic/ProductMessages.h"
#include "brenic/SystemMessages.h"
#include "farm/Samples.h"
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
  const std::string unknown = Type(9).ToString().str();
  EXPECT_EQ(RefusalOf(*Option(unknown, "a", "1")), "The product " + unknown + " is not installed");
  EXPECT_EQ(RefusalOf(*Option(UID::Null.ToString(), "a", "1")),
            "The product 00000000-0000-0000-0000-000000000000 is not installed");
  EXPECT_EQ(RefusalOf(*Option("Other", "a", "1")),
            "The section 'Other' is neither 'Distribution' nor the identifier of a product");
}

TEST(Options, OfARemovedProductAreRefusedByItsName) {
  Farm farm = SampleFarm();
  farm.Take(ChangeOf(farm, *RemoveProduct(Type(1))));
  const auto judgement = Judge(farm, {}, *Option(Type(1).ToString(), "a", "1"));
  ASSERT_FALSE(judgement);
  EXPECT_EQ(judgement.Reason(), "The product 'Alpha' is not installed");
}

struct BadText {
  String m_Name, m_Value;
  const char* m_Reason;
};
class BadOption : public testing::TestWithParam<BadText> {};
TEST_P(BadOption, IsRefusedByWhatIsWrongWithIt) {
  const auto& [name, value, reason] = GetParam();
  EXPECT_EQ(RefusalOf(*Option("Distribution", name, value)), reason);
}
INSTANTIATE_TEST_SUITE_P(
    Each, BadOption,
    testing::Values(
        BadText{"", "1", "The name of an option is empty"},
        BadText{
            String(std::string(257, 'x')), "1",
            "The name of the option 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...' "
            "has 257 bytes, where 256 are allowed"},
        BadText{"a\nb", "1", "The name of the option 'a\\nb' holds a control character"},
        BadText{"a\xff", "1", "The name of the option 'a\\xff' is not valid UTF-8"},
        BadText{"a", "1\x7f", "The value of the option 'a' holds a control character"},
        BadText{"a", "\xc3", "The value of the option 'a' is not valid UTF-8"},
        BadText{"a", String(std::string(65537, 'x')),
                "The value of the option 'a' has 65537 bytes, where 65536 are allowed"},
        BadText{o_UserLimits, String(std::string(k_MaxUserLimits + 1, 'x')),
                "The value of the option 'UserLimits' has 16777217 bytes, where 16777216 are allowed"},
        BadText{"mESSAGE", String(std::string(k_MaxMessage + 1, 'x')),
                "The value of the option 'mESSAGE' has 32769 bytes, where 32768 are allowed"},
        BadText{o_DefaultIdleTimeout, "soon",
                "The value of the option 'DefaultIdleTimeout' is not a whole number of minutes"},
        BadText{o_DefaultIdleTimeout, "-1",
                "The value of the option 'DefaultIdleTimeout' is not a whole number of minutes"}),
    [](const auto& info) { return NumberedName(info.index, info.param.m_Reason); });

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
  EXPECT_EQ(RefusalOf(*limit(Type(1), -2)),
            "The limit -2 of the product 'Alpha' is below -1, which lifts it");
  EXPECT_EQ(RefusalOf(*limit(Type(9), 1)), "The product " + Type(9).ToString().str() + " is not installed");
}

TEST(Restrictions, NeedAName) {
  const auto message = Make<SetMasterRestrictionsMsg>([](auto& m) { m.m_Restrictions[""] = true; });
  EXPECT_EQ(RefusalOf(*message), "The name of a restriction is empty");
}

shared_ptr<PathTranslationsMsg> Translations(rlib::vector<TranslationSet> list) {
  return Make<PathTranslationsMsg>([&](auto& message) { message.m_Translations = std::move(list); });
}

TEST(Translations, AreCheckedRootByRoot) {
  EXPECT_EQ(RefusalOf(*Translations({{{0, "X:\\"}, {1, "/x"}, {2, "/Volumes/x"}}})), "");
  EXPECT_EQ(RefusalOf(*Translations({{{1, "/x"}}, {{3, "/x"}}})), "translation 2: there is no platform 3");
  EXPECT_EQ(RefusalOf(*Translations({{{1, Path(std::string(4097, 'x'))}}})),
            "translation 1: its Linux root has 4097 bytes, where 4096 are allowed");
  EXPECT_EQ(RefusalOf(*Translations({{{0, "X:\n"}}})),
            "translation 1: its Windows root holds a control character");
  EXPECT_EQ(RefusalOf(*Translations(rlib::vector<TranslationSet>(100'001))),
            "There are 100001 translations, where 100000 are allowed");
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
  EXPECT_EQ(RefusalOf(*machine(7), commands), "There is no machine command 7");
  EXPECT_THAT(RefusalOf(*machine(MachineMsg::k_Reboot, Type(1)), commands), HasSubstr("its own machine"));
}

TEST(MessageOfTheMaster, IsRefusedFromAClient) {
  EXPECT_EQ(RefusalOf(*MessageFactory::Create<EndProductsMsg>()), "Only a Master sends this message");
}

TEST(ProductRequest, IsRefusedWhenANameIsTaken) {
  const auto install = [](shared_ptr<const Product> product) {
    return Make<ProductMsg>(
        [&](auto& message) { message.m_Product = boost::const_pointer_cast<Product>(product); });
  };
  EXPECT_EQ(RefusalOf(*install(MakeProduct(3, "Gamma", {"g"}))), "");
  EXPECT_EQ(RefusalOf(*install(MakeProduct(1, "Alpha two", {"A"}))), "") << "its own names may stay";
  EXPECT_EQ(RefusalOf(*install(MakeProduct(3, "ALPHA"))),
            "The name 'ALPHA' already belongs to the product 'Alpha' (" + Type(1).ToString().str() + ")");
  EXPECT_EQ(RefusalOf(*install(MakeProduct(3, "Gamma", {"beta"}))),
            "The name 'beta' already belongs to the product 'Beta' (" + Type(2).ToString().str() + ")");
}

TEST(ProductRequest, IsRefusedForATrapUnlessTheFarmHasIt) {
  Farm farm;
  const auto trap = MakeProduct(1, "Limit");
  EXPECT_FALSE(Judge(farm, {}, *InstallProduct(trap)));
  farm.m_Products.AddDefault(trap);
  EXPECT_TRUE(Judge(farm, {}, *InstallProduct(trap)));
  farm.Take(ChangeOf(farm, *RemoveProduct(Type(1))));
  EXPECT_TRUE(Judge(farm, {}, *InstallProduct(trap))) << "a removed default product may come back";
  EXPECT_FALSE(Judge(farm, {}, *InstallProduct(MakeProduct(2, "Restrictions"))));
}

TEST(RemovalOfAProduct, NeedsAnExistingOrTheNullType) {
  const auto remove = [](const UID& type) {
    return Make<RemoveProductMsg>([&](auto& message) { message.m_ProductType = type; });
  };
  EXPECT_EQ(RefusalOf(*remove(Type(1))), "");
  EXPECT_EQ(RefusalOf(*remove(UID::Null)), "");
  EXPECT_EQ(RefusalOf(*remove(Type(9))), "The product " + Type(9).ToString().str() + " is not installed");
}

} // namespace
} // namespace brenic::master
