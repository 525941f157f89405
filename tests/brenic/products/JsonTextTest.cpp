#include "products/JsonText.h"

#include <gmock/gmock.h>

#include "products/ProductDocument.h"

using namespace brenic;
using testing::AllOf;
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

TEST(CheckJson, NamesThePlaceOfWhatIsNoJson) {
  const std::vector<std::pair<std::string, int>> cases{
      {"", 1},        {" ", 2},   {"{", 2},      {"[1,]", 4},       {"{\"a\":}", 6}, {"{\"a\" 1}", 6},
      {"{a:1}", 2},   {"'a'", 1}, {"[01]", 3},   {"[1.]", 4},       {"[+1]", 2},     {"[NaN]", 2},
      {"[tru]", 5},   {"\"a", 3}, {"\"\n\"", 2}, {"\"\\x\"", 3},    {"[1] [2]", 5},  {"{} x", 4},
      {"// c\n1", 1}, {"[1}", 3}, {"]", 1},      {"\"\\ud800\"", 8}};
  for (const auto& [text, byte] : cases)
    EXPECT_THAT(Check(text),
                AllOf(StartsWith("it is no JSON: "), HasSubstr("(byte " + std::to_string(byte) + ")")))
        << text;
}

TEST(CheckJson, DoesNotEndAtANulByte) {
  using namespace std::string_literals;
  EXPECT_THAT(Check("{}\0"s), HasSubstr("(byte 3)"));
  EXPECT_THAT(Check("{}\0garbage"s), HasSubstr("(byte 3)"));
  EXPECT_THAT(Check("\0"s), HasSubstr("(byte 1)"));
  EXPECT_THAT(Check("[\"\0\"]"s), HasSubstr("(byte 3)"));
  EXPECT_EQ(Check(R"(["\u0000"])"), "");
}

TEST(CheckJson, SaysWhatIsWrongInWordsOfItsOwn) {
  for (const char* text : {"", "[1,]", "[tru]", "[1e999]", "\"\n\"", "{} x"})
    EXPECT_THAT(Check(text), testing::Not(testing::AnyOf(HasSubstr("json.exception"), HasSubstr("column"),
                                                         HasSubstr("\n"))))
        << text;
}

TEST(CheckJson, RefusesNumbersThatNothingCanHold) {
  EXPECT_THAT(Check("[1e999]"), StartsWith("it is no JSON: number overflow"));
}

TEST(CheckJson, RefusesInvalidUtf8AtItsPlace) {
  const std::vector<std::pair<std::string, int>> cases{{"\"a\xff\"", 3},
                                                       {"\"\xc3\"", 3},
                                                       {"\"\xc0\x80\"", 2},
                                                       {"\"\xed\xa0\x80\"", 3},
                                                       {"\"\xf4\x90\x80\x80\"", 3},
                                                       {"{\"k\xe4\":1}", 5}};
  for (const auto& [text, byte] : cases)
    EXPECT_THAT(Check(text), HasSubstr("(byte " + std::to_string(byte) + ")"))
        << testing::PrintToString(text);
}

TEST(CheckJson, RefusesAKeyTwiceInOneObjectAtAnyLevel) {
  EXPECT_EQ(Check(R"({"name":1,"name":1})"), R"(the key "name" stands twice in one object)");
  EXPECT_EQ(Check(R"({"a":[0,{"b":{"c":1,"d":2,"c":3}}]})"), R"(the key "c" stands twice in one object)");
  EXPECT_EQ(Check(R"({"a":{"x":1},"b":2,"a":3})"), R"(the key "a" stands twice in one object)");
}

TEST(CheckJson, RefusesAKeyTwiceAlsoInAnotherSpelling) {
  EXPECT_EQ(Check(R"({"a":1,"\u0061":1})"), R"(the key "a" stands twice in one object)");
  EXPECT_EQ(Check(R"({"\n":1,"\u000a":1})"), R"(the key "\n" stands twice in one object)");
}

TEST(CheckJson, TakesTheSameKeyInDifferentObjects) {
  EXPECT_EQ(Check(R"({"a":{"a":{"a":1}},"b":[{"a":1},{"a":1}],"A":1})"), "");
}

TEST(CheckJson, TakesAsManyLevelsAsAllowedAndNotMore) {
  EXPECT_EQ(Check(Nested(64)), "");
  EXPECT_EQ(Check(Nested(65)), "it is more than 64 levels deep");
  EXPECT_EQ(Check(R"({"a":[{}]})", 3), "");
  EXPECT_EQ(Check(R"({"a":[{}]})", 2), "it is more than 2 levels deep");
}

TEST(CheckJson, EndsAtTheLimitOfLevelsHoweverDeepTheTextIs) {
  EXPECT_EQ(Check(Nested(100'000)), "it is more than 64 levels deep");
  EXPECT_EQ(Check(std::string(100'000, '[')), "it is more than 64 levels deep");
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
      EXPECT_THAT(
          e->Message().str(),
          AllOf(StartsWith("The product's document cannot be read: it is no JSON: "), HasSubstr("(byte ")));
      delete e;
    }
  }
}

TEST(LayOut, TakesTextsOfAnyDepth) {
  EXPECT_EQ(LayOut(Nested(100'000), true), Nested(100'000));
}

} // namespace
