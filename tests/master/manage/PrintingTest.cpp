#include "manage/Printing.h"

#include <gtest/gtest.h>

#include "farm/Samples.h"
#include "manage/Json.h"
#include "rlib/Escape.h"
#include "rlib/IniFile.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

TEST(StateJson, HasItsKeysInTheirOrder) {
  Farm farm;
  farm.m_Options = {{"DefaultIdleTimeout", "30"}, {"Message", "hi"}};
  farm.m_TypeOptions[Type(1)]["Samples"] = "5";
  farm.m_Limits[Type(1)] = -1;
  farm.m_Restrictions = {"NoPause"};
  farm.m_Translations = {{{1, "/x"}, {0, "X:"}}};
  farm.m_Products.AddDefault(MakeProduct(1, "Alpha", {"a"}));
  farm.m_Products.Customise({{(MakeProduct(2, "Beta"))->Type(), Customisation{MakeProduct(2, "Beta")}}});
  MasterRecord master;
  master.m_ID = Type(9);
  master.m_Name = "Farm";
  EXPECT_EQ(
      StateJson(master, farm),
      R"({"master":{"id":"ab000000-0000-0000-0000-000000000009","name":"Farm","version":"1.0.0",)"
      R"("defaultIdleTimeout":30,"message":"hi"},"options":{"DefaultIdleTimeout":"30","Message":"hi"},)"
      R"("typeOptions":{"ab000000-0000-0000-0000-000000000001":{"Samples":"5"}},)"
      R"("limits":{"ab000000-0000-0000-0000-000000000001":-1},"restrictions":["NoPause"],)"
      R"("pathTranslations":[{"0":"X:","1":"/x"}],)"
      R"("products":[{"id":"ab000000-0000-0000-0000-000000000001","name":"Alpha","aliases":["a"],"origin":"default"},)"
      R"({"id":"ab000000-0000-0000-0000-000000000002","name":"Beta","aliases":[],"origin":"custom"}]})");
}

TEST(StateIni, IsReadBackAsItWas) {
  const OptionMap awkward{
      {"a = b", " spaced "}, {"[x]", "say \"hi\" \\"}, {";c", "# d"},   {"plain", "1"},
      {"empty", ""},         {"ümlaut", "=;"},         {"\"q\"", "\""}, {"a=\"b", "C:\\dir\\"},
      {"\"", "\"\""},        {"", "\\\\server\\share"}};
  Farm farm;
  farm.m_Options = awkward;
  farm.m_Restrictions = {"No = Pause"};
  farm.m_Limits[Type(1)] = 4;
  farm.m_TypeOptions[Type(2)] = {{"k", "v"}};
  rlib::IniFile ini;
  ini.LoadText(StateIni(farm));
  EXPECT_EQ(ini.SkippedLines(), 0u);
  std::map<std::string, OptionMap> sections;
  while (ini.SetNextSection()) {
    String name, value;
    OptionMap& section = sections[ini.GetCurrentSection().str()];
    while (ini.GetNextValue(name, value))
      section[name] = value;
  }
  EXPECT_EQ(sections["Distribution"], awkward);
  EXPECT_EQ(sections["Restrictions"], (OptionMap{{"No = Pause", "true"}}));
  EXPECT_EQ(sections["Limit"], (OptionMap{{Type(1).ToString(), "4"}}));
  EXPECT_EQ(sections[Type(2).ToString().str()], (OptionMap{{"k", "v"}}));
}

TEST(StateIni, MentionsWhatAnIniFileCannotHold) {
  Farm farm;
  farm.m_Options = {{"a\"=b", "1"}, {"c\nd", "2"}, {"e", String("f\0g", 3)}, {"h", "3"}};
  farm.m_Restrictions = {"x\" ="};
  EXPECT_EQ(StateIni(farm),
            "[Distribution]\n"
            "; \"a\"=b\" is left out: an INI file cannot hold its name or its value\n"
            "; \"c\\nd\" is left out: an INI file cannot hold its name or its value\n"
            "; e is left out: an INI file cannot hold its name or its value\n"
            "h = 3\n\n[Restrictions]\n"
            "; \"x\" =\" is left out: an INI file cannot hold its name or its value\n\n[Limit]\n\n");
}

TEST(StateText, ShowsControlCharacters) {
  Farm farm;
  farm.m_Options = {{"a\u202e", "b\x1b[2J\u009b"}};
  farm.m_Restrictions = {"r\nr"};
  farm.m_Translations = {{{1, "/x\x7f"}}};
  MasterRecord master;
  master.m_Name = "F\rarm";
  const std::string text = StateText(master, farm);
  for (const char* part :
       {"Master 'F\\rarm'", "  a\\xe2\\x80\\xae = b\\x1b[2J\\xc2\\x9b\n", "  r\\nr\n", "Linux: /x\\x7f\n"})
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

TEST(StateIni, MentionsAValueThatIsTooLongForALine) {
  Farm farm;
  farm.m_Options = {{"UserLimits", String(std::string(rlib::IniFile::k_MaxLine, 'x'))}, {"short", "1"}};
  const std::string text = StateIni(farm);
  EXPECT_NE(text.find("; UserLimits is left out: its value of 1048576 bytes is too long"), std::string::npos);
  rlib::IniFile ini;
  ini.LoadText(text);
  EXPECT_EQ(ini.SkippedLines(), 0u);
  ASSERT_TRUE(ini.SetNextSection());
  String name, value;
  EXPECT_TRUE(ini.GetNextValue(name, value));
  EXPECT_EQ(name, "short");
  EXPECT_FALSE(ini.GetNextValue(name, value));
}

TEST(AuditJson, HasItsKeysInTheirOrder) {
  AuditRecord record;
  record.m_Sequence = 7;
  record.m_Time = 1769860800123;
  record.m_ClientId = Type(1).ToString().str();
  record.m_ClientName = "admin";
  record.m_Role = Role::k_Administrator;
  record.m_Kind = 3;
  record.m_Address = "127.0.0.1:50012";
  record.m_MessageId = Type(2);
  record.m_Class = "GetMasterOptionsMsg";
  record.m_FieldsOfLayout1 = R"({"m_OptionNames":["a"]})";
  record.m_Result = "answered";
  EXPECT_EQ(
      AuditJson(record),
      R"({"sequence":7,"time":"2026-01-31T12:00:00.123Z","client":{"id":"ab000000-0000-0000-0000-000000000001",)"
      R"("name":"admin","role":"administrator","kind":3,"address":"127.0.0.1:50012"},)"
      R"("message":{"id":"ab000000-0000-0000-0000-000000000002","class":"GetMasterOptionsMsg","m_OptionNames":["a"]},)"
      R"("result":"answered","reason":""})");
}

/// What a terminal must not be given, and the same as JSON.
constexpr char k_Wild[] = "\x7f\u009b\u202e\u2066";
constexpr char k_WildInJson[] = R"(\u007f\u009b\u202e\u2066)";

AuditRecord WildRecord() {
  AuditRecord record;
  record.m_ClientName = k_Wild;
  record.m_Class = "GetMasterOptionsMsg";
  record.m_Address = k_Wild;
  record.m_Result = "refused";
  record.m_Reason = std::string("no ") + k_Wild + "\n";
  const auto message = Make<GetMasterOptionsMsg>([](auto& m) { m.m_OptionNames = {k_Wild}; });
  wire::Envelope envelope;
  wire::ToWire(*message, envelope);
  record.m_Request = std::make_shared<const std::string>(envelope.SerializeAsString());
  record.m_Size = record.m_Request->size();
  record.m_Digest = Sha256(*record.m_Request);
  return record;
}

TEST(AuditJson, GivesATerminalNoControlCharacters) {
  const std::string json = AuditJson(WildRecord());
  EXPECT_EQ(rlib::EscapeControls(json), json);
  EXPECT_NE(json.find(std::string("\"m_OptionNames\":[\"") + k_WildInJson + "\"]"), std::string::npos)
      << json;
  EXPECT_EQ(Json::parse(json)["client"]["name"], k_Wild);
  EXPECT_EQ(Json::parse(json)["reason"], std::string("no ") + k_Wild + "\n");
}

TEST(AuditText, GivesATerminalNoControlCharacters) {
  const std::string text = AuditText(WildRecord());
  EXPECT_EQ(rlib::EscapeControls(text), text);
  EXPECT_NE(text.find(k_WildInJson), std::string::npos) << text;
  AuditRecord old = WildRecord();
  old.m_FieldsOfLayout1 = std::string("{\"a\":\"") + k_Wild + "\"}";
  EXPECT_EQ(rlib::EscapeControls(AuditText(old)), AuditText(old));
  EXPECT_EQ(rlib::EscapeControls(AuditJson(old)), AuditJson(old));
}

TEST(AuditText, OfALongRequestShowsItsSmallFields) {
  AuditRecord record = WildRecord();
  record.m_Digest = std::string(32, 'd');
  record.m_Size = 100'000;
  for (const std::string& shown : {AuditText(record), AuditJson(record)}) {
    EXPECT_NE(shown.find(k_WildInJson), std::string::npos) << shown;
    EXPECT_NE(shown.find("\"size\":100000"), std::string::npos) << shown;
  }
}

TEST(ParseTime, TakesDatesAndTimesInUtc) {
  EXPECT_EQ(ParseTime("2026-01-31T12:00:00.123Z"), 1769860800123);
  EXPECT_EQ(ParseTime("2026-01-31 12:00:00"), 1769860800000);
  EXPECT_EQ(ParseTime("2026-01-31"), 1769817600000);
  for (const char* bad :
       {"", "yesterday", "2026-01-31T", "2026-01-31x", "2026-13-01", "2026-02-30", "2026-11-31"})
    EXPECT_EQ(ParseTime(bad), std::nullopt) << bad;
}

} // namespace
} // namespace brenic::master
