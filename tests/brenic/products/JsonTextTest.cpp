#include "products/JsonText.h"

#include <gmock/gmock.h>

#include "products/ProductDocument.h"

using namespace brenic;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// What is wrong with the text; empty when nothing is.
std::string Check(const std::string& text, int maxDepth = 64) {
  const rlib::Result<> checked = CheckJson(text, maxDepth);
  EXPECT_TRUE(checked || !checked.Reason().empty()) << text.substr(0, 60);
  return checked ? "" : checked.Reason().str();
}

std::string Nested(size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

TEST(CheckJson, TakesAnyOneValue) {
  for (const char* text :
       {"null", "true", "0", "-1.5e-3", "\"\"", "[]", "{}", " [1, {\"a\" : [null]}]\r\n\t"})
    EXPECT_EQ(Check(text), "") << text;
}

TEST(CheckJson, SaysWhatIsExpectedWhere) {
  const std::string value = "a text in double quotes, a number, true, false, null, [ or { is expected";
  const std::string member = "a member's name in double quotes is expected";
  const std::string nothing = "nothing more is expected behind the end of the definition";
  const std::string digit = "a digit is expected";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "1: " + value + ", but the text ends"},
      {" ", "2: " + value + ", but the text ends"},
      {"{", "2: " + member + ", but the text ends"},
      {"[1,]", "4: " + value},
      {"[1,,2]", "4: " + value},
      {"{\"a\":}", "6: " + value},
      {"{\"a\" 1}", "6: a colon is expected"},
      {"{\"a\":1 \"b\"}", "8: a comma or } is expected"},
      {"{\"a\":1,}", "8: " + member},
      {"{a:1}", "2: " + member},
      {"'a'", "1: " + value},
      {"[01]", "3: a comma or ] is expected"},
      {"[1 22]", "4: a comma or ] is expected"},
      {"[1.]", "4: " + digit},
      {"[+1]", "2: " + value},
      {"[NaN]", "2: " + value},
      {"[tru]", "2: " + value},
      {"[\"a", "2: a double quote is expected at the end of this text"},
      {"\"a\nb\"", "3: \\n, \\t or \\u00XX is expected in place of a control character"},
      {"\"\\x\"", "3: one of \" \\ / b f n r t u is expected behind a backslash"},
      {"\"\\u12x4\"", "6: four hexadecimal digits are expected behind \\u"},
      {"\"\\ud800\"", "8: a pair \\uD8XX\\uDCXX is expected for a character above U+FFFF"},
      {"[1] [2]", "5: " + nothing},
      {"{} x", "4: " + nothing},
      {"// c\n1", "1: " + value},
      {"[1}", "3: a comma or ] is expected"},
      {"]", "1: " + value},
      {"[1e999]", "2: a smaller number is expected"}};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(Check(text), "line 1, column " + expected) << text;
}

TEST(CheckJson, CountsLinesAndCharacters) {
  EXPECT_THAT(Check("{\n  \"ä\": \"€\",\r\n  \"夜\": x\n}"), StartsWith("line 3, column 8: "));
  EXPECT_THAT(Check("[\n\n"), StartsWith("line 3, column 1: "));
  EXPECT_THAT(Check("\xef\xbb\xbf x"), StartsWith("line 1, column 3: ")); // the mark counts as one
}

TEST(CheckJson, DoesNotTakeWhatATextQuotesForTheLibrarysWords) {
  EXPECT_THAT(Check("[\"expected end of input; last read: '\" \"surrogate\"]"),
              HasSubstr(": a comma or ] is expected"));
}

TEST(CheckJson, DoesNotEndAtANulByte) {
  using namespace std::string_literals;
  EXPECT_THAT(Check("{}\0"s), StartsWith("line 1, column 3: "));
  EXPECT_THAT(Check("{}\0garbage"s), StartsWith("line 1, column 3: "));
  EXPECT_THAT(Check("\0"s), StartsWith("line 1, column 1: "));
  EXPECT_THAT(Check("[\"\0\"]"s), StartsWith("line 1, column "));
  EXPECT_EQ(Check(R"(["\u0000"])"), "");
}

TEST(CheckJson, RefusesInvalidUtf8AtItsPlace) {
  const std::vector<std::pair<std::string, int>> cases{
      {"\"a\xff\"", 3}, {"\"\xc3\"", 3}, {"\"\xc0\x80\"", 2}, {"\"\xed\xa0\x80\"", 3}, {"{\"k\xe4\":1}", 5}};
  for (const auto& [text, column] : cases)
    EXPECT_EQ(Check(text), "line 1, column " + std::to_string(column) + ": UTF-8 is expected")
        << testing::PrintToString(text);
}

TEST(CheckJson, RefusesAKeyTwiceInOneObjectAtAnyLevel) {
  EXPECT_THAT(Check(R"({"name":1,"name":1})"), EndsWith(R"(the key "name" stands twice in one object)"));
  EXPECT_THAT(Check(R"({"a":[0,{"b":{"c":1,"d":2,"c":3}}]})"),
              EndsWith(R"(the key "c" stands twice in one object)"));
  EXPECT_THAT(Check(R"({"a":{"x":1},"b":2,"a":3})"), EndsWith(R"(the key "a" stands twice in one object)"));
}

TEST(CheckJson, RefusesAKeyTwiceAlsoInAnotherSpelling) {
  EXPECT_THAT(Check(R"({"a":1,"\u0061":1})"), EndsWith(R"(the key "a" stands twice in one object)"));
  EXPECT_THAT(Check(R"({"\n":1,"\u000a":1})"), EndsWith(R"(the key "\n" stands twice in one object)"));
}

TEST(CheckJson, TakesTheSameKeyInDifferentObjects) {
  EXPECT_EQ(Check(R"({"a":{"a":{"a":1}},"b":[{"a":1},{"a":1}],"A":1})"), "");
}

TEST(CheckJson, TakesAsManyLevelsAsAllowedAndNotMore) {
  EXPECT_EQ(Check(Nested(64)), "");
  EXPECT_THAT(Check(Nested(65)), EndsWith("it is more than 64 levels deep"));
  EXPECT_EQ(Check(R"({"a":[{}]})", 3), "");
  EXPECT_THAT(Check(R"({"a":[{}]})", 2), EndsWith("it is more than 2 levels deep"));
}

TEST(CheckJson, EndsAtTheLimitOfLevelsHoweverDeepTheTextIs) {
  EXPECT_THAT(Check(Nested(100'000)), EndsWith("it is more than 64 levels deep"));
  EXPECT_THAT(Check(std::string(100'000, '[')), EndsWith("it is more than 64 levels deep"));
}

TEST(CheckJson, CountsOnlyLevelsThatAreOpen) {
  std::string text = "[";
  for (int i = 0; i < 1000; ++i)
    text += "[],";
  EXPECT_EQ(Check(text + "[]]"), "");
}

struct LayOutCase {
  const char* m_In;
  const char* m_Out;
  const char* m_Compact;
};

/// Each text gives both layouts, and each layout itself and the other.
void ExpectLayOut(const std::vector<LayOutCase>& cases) {
  for (const LayOutCase& layout : cases) {
    for (const char* text : {layout.m_In, layout.m_Out, layout.m_Compact}) {
      EXPECT_EQ(LayOut(text, false), layout.m_Out);
      EXPECT_EQ(LayOut(text, true), layout.m_Compact);
    }
  }
}

TEST(LayOut, KeepsTheOrderOfMembers) {
  ExpectLayOut({{R"({"z":1,"a":{"y":2,"b":[3,{"x":null}]},"m":true})",
                 "{\n  \"z\": 1,\n  \"a\": {\n    \"y\": 2,\n    \"b\": [\n      3,\n      {\n"
                 "        \"x\": null\n      }\n    ]\n  },\n  \"m\": true\n}\n",
                 R"({"z":1,"a":{"y":2,"b":[3,{"x":null}]},"m":true})"}});
}

TEST(LayOut, LeavesWhatIsEmptyOnOneLine) {
  ExpectLayOut(
      {{" { \"a\" : [ ] , \"b\" : { } }\t", "{\n  \"a\": [],\n  \"b\": {}\n}\n", R"({"a":[],"b":{}})"},
       {"[[],[[]],{}]", "[\n  [],\n  [\n    []\n  ],\n  {}\n]\n", "[[],[[]],{}]"},
       {"false", "false\n", "false"}});
}

TEST(LayOut, KeepsTheDigitsOfNumbers) {
  ExpectLayOut({{"[1.10,0.0,-0.0,-0,0,1E5,1e+05,100000000000000000001]",
                 "[\n  1.10,\n  0.0,\n  -0.0,\n  -0,\n  0,\n  1E5,\n  1e+05,\n  100000000000000000001\n]\n",
                 "[1.10,0.0,-0.0,-0,0,1E5,1e+05,100000000000000000001]"},
                {"[18446744073709551615,-9223372036854775808,0.1000000000000000055511151231257827]",
                 "[\n  18446744073709551615,\n  -9223372036854775808,\n"
                 "  0.1000000000000000055511151231257827\n]\n",
                 "[18446744073709551615,-9223372036854775808,0.1000000000000000055511151231257827]"}});
}

TEST(LayOut, WritesTextsAsUtf8AndEscapesWhatItHasTo) {
  ExpectLayOut({{R"(["\u00e4\u20ac\ud83d\ude00", "ä€😀", "\/", "\u0041"])",
                 "[\n  \"ä€😀\",\n  \"ä€😀\",\n  \"/\",\n  \"A\"\n]\n", R"(["ä€😀","ä€😀","/","A"])"},
                {R"(["\u0000\n\t\"\\\u001f", " , : [ ] { } "])",
                 "[\n  \"\\u0000\\n\\t\\\"\\\\\\u001f\",\n  \" , : [ ] { } \"\n]\n",
                 R"(["\u0000\n\t\"\\\u001f"," , : [ ] { } "])"},
                {R"({"\u006bey\n":"v"})", "{\n  \"key\\n\": \"v\"\n}\n", R"({"key\n":"v"})"}});
}

TEST(LayOut, OfWhatIsNoJsonIsAnException) {
  using namespace std::string_literals;
  for (const std::string& text : {""s, "{"s, "[1,]"s, "{} x"s, "{}\0"s, "\"\xff\""s}) {
    try {
      LayOut(text, false);
      ADD_FAILURE() << text;
    } catch (Exception* e) {
      EXPECT_THAT(e->Message().str(), StartsWith("The product's document cannot be read: line 1, column "));
      delete e;
    }
  }
}

TEST(PlaceOf, IsWhereTheValueBegins) {
  const std::string text = "{\n \"a\": [10, {\"b\" : [ ]}, \"x\"],\n  \"0\": true, \"c\": {\"a\":  {} } }";
  EXPECT_EQ(PlaceOf(text, {}), "line 1, column 1");
  EXPECT_EQ(PlaceOf(text, {"a"}), "line 2, column 7");
  EXPECT_EQ(PlaceOf(text, {"a", "0"}), "line 2, column 8");
  EXPECT_EQ(PlaceOf(text, {"a", "1"}), "line 2, column 12");
  EXPECT_EQ(PlaceOf(text, {"a", "1", "b"}), "line 2, column 19");
  EXPECT_EQ(PlaceOf(text, {"a", "2"}), "line 2, column 25");
  EXPECT_EQ(PlaceOf(text, {"0"}), "line 3, column 8");
  EXPECT_EQ(PlaceOf(text, {"c", "a"}), "line 3, column 26");
}

TEST(WithoutLayout, DropsWhatIsBetweenTheTokensOnly) {
  EXPECT_EQ(WithoutLayout(" {\r\n\t\"a \\\" b\\\\\" : [ 1 , -2.0 ] } ", 99), "{\"a \\\" b\\\\\":[1,-2.0]}");
  EXPECT_EQ(WithoutLayout("[ 1, 2 ]", 3), "[1,");
}

TEST(LayOut, TakesTextsOfAnyDepth) {
  EXPECT_EQ(LayOut(Nested(100'000), true), Nested(100'000));
}

} // namespace
