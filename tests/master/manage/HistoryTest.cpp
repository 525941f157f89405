#include "manage/History.h"

#include <gmock/gmock.h>

#include "brenic/RevertMsg.h"
#include "farm/Samples.h"
#include "manage/Json.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

KnownType Namer(const UID& type) {
  return type == Type(1) ? KnownType{"Alpha", true} : KnownType();
}

std::string Digits(const Product& product) {
  return Hex(Sha256(product.Document())).substr(0, 12);
}

/// Everything that can change.
Change Everything() {
  Change change;
  change.m_Options = {{UID::Null, "MaxJobs", {String("1"), String("2")}},
                      {Type(1), "x\n", {std::nullopt, String("")}}};
  change.m_UserLimits =
      UserLimitsChange{"UserLimits", false, true, {{{0, {"ann=2", "no number"}, {"ann=5", "bob=1"}}}}};
  change.m_Limits = {{Type(1), {std::nullopt, 5}}, {Type(2), {3, -1}}};
  change.m_Restrictions = {{"NoJobs", true}, {"other", false}};
  change.m_Translations.m_Runs = {{0, {{{1, "/a"}}}, {{{0, "X:"}, {1, "/b"}}}}, {2, {{{2, "/gone"}}}, {}}};
  change.m_Products = {{Type(1), {std::nullopt, Customisation()}},
                       {Type(3), {Customisation{MakeProduct(3, "Own")}, std::nullopt}}};
  change.m_Defaults = {{Type(1), {std::nullopt, Customisation{MakeProduct(1, "Alpha")}}}};
  return change;
}

AuditRecord RecordOf(const Change& change) {
  AuditRecord record;
  record.m_Sequence = 7;
  record.m_Time = 1'700'000'000'123;
  record.m_ClientName = "ann\x1b";
  record.m_Address = "127.0.0.1:5";
  record.m_Class = "SetMasterOptionsMsg";
  record.m_Change = std::make_shared<const Change>(change);
  record.m_Result = "committed";
  return record;
}

TEST(ChangeWords, TellEverythingFromWhatToWhat) {
  EXPECT_THAT(
      ChangeWords(Everything(), {}, Namer),
      ElementsAre("option 'MaxJobs': '1' -> '2'", "option 'x\\n' of 'Alpha': not set -> ''",
                  "user limit of 'ann': 2 -> 5", "user limit of 'bob': none -> 1",
                  "user limit of 'no number': no number -> none", "worker limit of 'Alpha': not set -> 5",
                  "worker limit of ab000000-0000-0000-0000-000000000002: 3 -> no limit",
                  "restriction 'NoJobs': off -> on", "restriction 'other': on -> off",
                  "path translation Linux '/a' -> Windows 'X:', Linux '/b'",
                  "path translation Mac '/gone': removed", "product 'Alpha': as by default -> removed",
                  "product 'Own': imported 'Own' (" + Digits(*MakeProduct(3, "Own")) + ") -> not imported",
                  "default product 'Alpha': none -> 'Alpha' (" + Digits(*MakeProduct(1, "Alpha")) + ")"));
}

TEST(ChangeWords, TellUserLimitsThatOnlyBeganOrEnded) {
  Change change;
  change.m_UserLimits = UserLimitsChange{"UserLimits", false, true, {}};
  EXPECT_THAT(ChangeWords(change, {}, Namer), ElementsAre("option 'UserLimits': not set -> set"));
  change.m_UserLimits = UserLimitsChange{"UserLimits", true, true, {{{0, {}, {""}}}}};
  EXPECT_THAT(ChangeWords(change, {}, Namer), ElementsAre("option 'UserLimits': the ; between its limits"));
}

TEST(ChangeWords, NameAProductAsTheChangeDoes) {
  Change change;
  change.m_Limits = {{Type(1), {1, 2}}, {Type(4), {1, 2}}};
  change.m_Products = {
      {Type(1), {Customisation{MakeProduct(1, "Old")}, Customisation{MakeProduct(1, "New")}}}};
  change.m_Defaults = {{Type(4), {Customisation{MakeProduct(4, "Shipped")}, std::nullopt}}};
  EXPECT_THAT(ChangeWords(change, {}, Namer),
              ElementsAre("worker limit of 'New': 1 -> 2", "worker limit of 'Shipped': 1 -> 2",
                          HasSubstr("product 'New': imported 'Old' ("),
                          HasSubstr("default product 'Shipped': 'Shipped' (")));
}

TEST(ChangeWords, AreOnlyOfWhatFits) {
  const auto words = [](const HistoryFilter& filter) { return ChangeWords(Everything(), filter, Namer); };
  HistoryFilter filter;
  filter.m_Option = "MAXJOBS";
  EXPECT_THAT(words(filter), ElementsAre("option 'MaxJobs': '1' -> '2'"));
  filter.m_Option = "userlimits";
  EXPECT_EQ(words(filter).size(), 3u);
  filter.m_Products = {Type(1)};
  EXPECT_THAT(words(filter), IsEmpty());
  filter.m_Option = {};
  EXPECT_THAT(words(filter),
              ElementsAre(HasSubstr("option 'x\\n' of 'Alpha'"), HasSubstr("worker limit of 'Alpha'"),
                          HasSubstr("product 'Alpha'"), HasSubstr("default product 'Alpha'")));
  filter = {};
  filter.m_User = "ann";
  EXPECT_THAT(words(filter), ElementsAre("user limit of 'ann': 2 -> 5"));
  filter.m_User = "an";
  EXPECT_THAT(words(filter), IsEmpty());
  filter = {};
  filter.m_Root = "/b";
  EXPECT_THAT(words(filter), ElementsAre("path translation Linux '/a' -> Windows 'X:', Linux '/b'"));
  filter.m_Root = "one";
  EXPECT_THAT(words(filter), ElementsAre("path translation Mac '/gone': removed"));
  Change whole;
  whole.m_Options = {{UID::Null, "UserLimits", {String("ann=1;x=2"), std::nullopt}}};
  filter = {};
  filter.m_User = "x";
  EXPECT_EQ(ChangeWords(whole, filter, Namer).size(), 1u);
  filter.m_User = "y";
  EXPECT_THAT(ChangeWords(whole, filter, Namer), IsEmpty());
}

TEST(HistoryText, IsOneLineWithWhoAndWhen) {
  Change change;
  change.m_Options = {{UID::Null, "a", {String("1\n"), std::nullopt}}};
  EXPECT_EQ(HistoryText(RecordOf(change), {}, Namer),
            "7 2023-11-14T22:13:20.123Z ann\\x1b: option 'a': '1\\n' -> not set");
  HistoryFilter others;
  others.m_Client = "bob";
  EXPECT_EQ(HistoryText(RecordOf(change), others, Namer), "");
  others.m_Client = "ann\x1b";
  EXPECT_NE(HistoryText(RecordOf(change), others, Namer), "");
  for (int i = 0; i != 30; ++i)
    change.m_Restrictions[fmt::format("r{}", i)] = true;
  EXPECT_TRUE(HistoryText(RecordOf(change), {}, Namer).ends_with("; and 11 more (--json shows all)"));
}

TEST(HistoryText, NamesWhatWasReverted) {
  RevertMsg message;
  message.m_Sequences = {5, 3};
  wire::Envelope envelope;
  wire::ToWire(message, envelope);
  AuditRecord record = RecordOf(Everything());
  record.m_Class = "RevertMsg";
  record.m_Request = std::make_shared<const std::string>(envelope.SerializeAsString());
  record.m_Digest = Sha256(*record.m_Request);
  record.m_Size = record.m_Request->size();
  EXPECT_THAT(HistoryText(record, {}, Namer), HasSubstr(" ann\\x1b reverted 5, 3: option 'MaxJobs'"));
  EXPECT_EQ(Json::parse(HistoryJson(record, {}, Namer))["reverts"], Json({5, 3}));
}

TEST(HistoryText, ShowsRecordsOfLayout1ByTheirFields) {
  AuditRecord record = RecordOf({});
  record.m_Change = nullptr;
  record.m_FieldsOfLayout1 =
      R"({"m_Section":"Distribution","m_Options":{"UserLimits":"ann=1;","b":"\u202e"}})";
  EXPECT_THAT(HistoryText(record, {}, Namer), HasSubstr(R"(: SetMasterOptionsMsg {"m_Section":)"));
  EXPECT_EQ(Json::parse(HistoryJson(record, {}, Namer))["request"]["m_Options"]["UserLimits"], "ann=1;");
  const auto fits = [&](const auto& member, const auto& wanted) {
    HistoryFilter filter;
    filter.*member = wanted;
    return !HistoryText(record, filter, Namer).empty();
  };
  EXPECT_TRUE(fits(&HistoryFilter::m_User, "ann"));
  EXPECT_FALSE(fits(&HistoryFilter::m_User, "bob"));
  EXPECT_TRUE(fits(&HistoryFilter::m_Option, "B"));
  EXPECT_FALSE(fits(&HistoryFilter::m_Option, "c"));
  record.m_Class = "LogDumpMsg";
  EXPECT_EQ(HistoryText(record, {}, Namer), "");
  record.m_Class = "PathTranslationsMsg";
  record.m_FieldsOfLayout1 = R"({"m_Translations":[{"0":"X:","1":"/x"},{}]})";
  EXPECT_TRUE(fits(&HistoryFilter::m_Root, "/x"));
  EXPECT_FALSE(fits(&HistoryFilter::m_Root, "/y"));
  record.m_Class = "SetMasterLimitsMsg";
  record.m_FieldsOfLayout1 = R"({"m_Limits":{"ab000000-0000-0000-0000-000000000001":5}})";
  EXPECT_TRUE(fits(&HistoryFilter::m_Products, std::set<UID>{Type(1)}));
  EXPECT_FALSE(fits(&HistoryFilter::m_Products, std::set<UID>{Type(2)}));
}

TEST(HistoryText, TellsWhatBecameOfCertificates) {
  AuditRecord record = RecordOf({});
  record.m_Change = nullptr;
  record.m_Class = "RevokeClientMsg";
  record.m_Reason = "Revoked 'bob'";
  EXPECT_EQ(HistoryText(record, {}, Namer), "7 2023-11-14T22:13:20.123Z ann\\x1b: Revoked 'bob'");
  HistoryFilter filter;
  filter.m_Option = "a";
  EXPECT_EQ(HistoryText(record, filter, Namer), "");
}

TEST(HistoryText, TellsOfARecordThatCannotBeRead) {
  AuditRecord record = RecordOf({});
  record.m_LoadChange = []() -> std::shared_ptr<const Change> {
    throw StoreFailure("damaged\n", StoreFailure::Kind::k_DamagedRecord);
  };
  EXPECT_THAT(HistoryText(record, {}, Namer), HasSubstr("what it changed cannot be read: damaged\\n"));
  EXPECT_THAT(HistoryJson(record, {}, Namer), HasSubstr("unreadable"));
}

TEST(HistoryJson, HasAllThatChanged) {
  HistoryFilter filter;
  filter.m_User = "ann";
  const Json json = Json::parse(HistoryJson(RecordOf(Everything()), filter, Namer));
  EXPECT_EQ(json["sequence"], 7);
  EXPECT_EQ(json["time"], "2023-11-14T22:13:20.123Z");
  EXPECT_EQ(json["client"]["name"], "ann\x1b");
  EXPECT_EQ(json["client"]["address"], "127.0.0.1:5");
  EXPECT_EQ(json["class"], "SetMasterOptionsMsg");
  EXPECT_EQ(json["change"]["options"].size(), 2u);
  filter.m_User = "nobody";
  EXPECT_EQ(HistoryJson(RecordOf(Everything()), filter, Namer), "");
}

} // namespace
} // namespace brenic::master
