#include "manage/AuditFields.h"

#include <gtest/gtest.h>

#include "brenic/ProductMessages.h"
#include "brenic/RevertMsg.h"
#include "brenic/SystemMessages.h"
#include "farm/Samples.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

std::string Fields(const Message& message) {
  return ToText(AuditFields(message));
}

TEST(AuditFields, ShowEachClassUnderItsOwnNames) {
  EXPECT_EQ(Fields(*Make<SetMasterOptionsMsg>([](auto& m) {
              m.m_Section = "Distribution";
              m.m_Options["a"] = "1";
            })),
            R"({"m_Section":"Distribution","m_Options":{"a":"1"}})");
  EXPECT_EQ(Fields(*Make<GetMasterOptionsMsg>([](auto& m) {
              m.m_OptionNames = {"b", "a"};
            })),
            R"({"m_OptionNames":["b","a"]})");
  EXPECT_EQ(Fields(*Make<SetMasterLimitsMsg>([](auto& m) { m.m_Limits[Type(1)] = -1; })),
            R"({"m_Limits":{"ab000000-0000-0000-0000-000000000001":-1}})");
  EXPECT_EQ(Fields(*Make<SetMasterRestrictionsMsg>([](auto& m) { m.m_Restrictions["x"] = false; })),
            R"({"m_Restrictions":{"x":false}})");
  EXPECT_EQ(Fields(*Make<PathTranslationsMsg>([](auto& m) {
              m.m_Translations = {{{0, "X:"}, {2, "/x"}}};
            })),
            R"({"m_Translations":[{"0":"X:","2":"/x"}]})");
  EXPECT_EQ(Fields(*Make<RemoveProductMsg>([](auto& m) { m.m_ProductType = UID::Null; })),
            R"({"productType":"00000000-0000-0000-0000-000000000000"})");
  EXPECT_EQ(Fields(*Make<MachineMsg>([](auto& m) { m.m_Command = 1; })),
            R"({"command":1,"machine":"00000000-0000-0000-0000-000000000000"})");
  EXPECT_EQ(Fields(*Make<RevertMsg>([](auto& m) {
              m.m_Sequences = {5'000'000'000, 7};
            })),
            R"({"m_Sequences":[5000000000,7]})");
  EXPECT_EQ(Fields(*MessageFactory::Create<LogDumpMsg>()), "{}");
}

TEST(AuditFields, GiveDigestAndSizeOfALongField) {
  const std::string value(k_MaxAuditField, 'x');
  const Json fields = AuditFields(*Make<SetMasterOptionsMsg>([&](auto& m) { m.m_Options["a"] = value; }));
  const std::string text = R"({"a":")" + value + "\"}";
  EXPECT_EQ(fields["m_Options"]["size"], text.size());
  EXPECT_EQ(fields["m_Options"]["digest"], Hex(Sha256(text)));
  EXPECT_EQ(fields["m_Section"], "");
}

TEST(AuditFields, ReplaceInvalidUtf8) {
  EXPECT_EQ(Fields(*Make<GetMasterOptionsMsg>([](auto& m) { m.m_OptionNames = {"\xff"}; })),
            "{\"m_OptionNames\":[\"\xef\xbf\xbd\"]}");
}

} // namespace
} // namespace brenic::master
