#include "rlib/StringTokenizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

using rlib::String;
using rlib::StringTokenizer;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> Tokens(const char* text, bool keepEmpty = false, char quote = '"',
                                char escape = '\\') {
  StringTokenizer tokenizer(text, ';', keepEmpty, quote, escape);
  std::vector<std::string> tokens;
  while (const std::optional<String> token = tokenizer.GetNext())
    tokens.push_back(token->str());
  EXPECT_FALSE(tokenizer.GetNext());
  return tokens;
}

TEST(StringTokenizer, SplitsAtTheSeparator) {
  EXPECT_THAT(Tokens("ann=2;bob=5"), ElementsAre("ann=2", "bob=5"));
  EXPECT_THAT(Tokens("12"), ElementsAre("12"));
}

TEST(StringTokenizer, LeavesOutEmptyTokens) {
  EXPECT_THAT(Tokens(""), IsEmpty());
  EXPECT_THAT(Tokens(";"), IsEmpty());
  EXPECT_THAT(Tokens(";;a;;b;"), ElementsAre("a", "b"));
  EXPECT_THAT(Tokens("ann=2;"), ElementsAre("ann=2"));
}

TEST(StringTokenizer, KeepsEmptyTokensOnRequest) {
  EXPECT_THAT(Tokens("", true), ElementsAre(""));
  EXPECT_THAT(Tokens(";", true), ElementsAre("", ""));
  EXPECT_THAT(Tokens("a;;b;", true), ElementsAre("a", "", "b", ""));
}

TEST(StringTokenizer, SeparatorsInQuotesAreLiteral) {
  EXPECT_THAT(Tokens("\"a;b\"=2;c"), ElementsAre("a;b=2", "c"));
  EXPECT_THAT(Tokens("x\"a;b"), ElementsAre("xa;b"));
  EXPECT_THAT(Tokens("\"\";a"), ElementsAre("", "a"));
}

TEST(StringTokenizer, EscapesMakeTheNextCharacterLiteral) {
  EXPECT_THAT(Tokens("a\\;b;c"), ElementsAre("a;b", "c"));
  EXPECT_THAT(Tokens("a\\\"b;c\\\\"), ElementsAre("a\"b", "c\\"));
  EXPECT_THAT(Tokens("\"a\\\";b\";c"), ElementsAre("a\";b", "c"));
  EXPECT_THAT(Tokens("a\\"), ElementsAre("a\\"));
}

TEST(StringTokenizer, QuoteAndEscapeCanBeTurnedOff) {
  EXPECT_THAT(Tokens("\"a;b\\;c", false, '\0', '\0'), ElementsAre("\"a", "b\\", "c"));
}

} // namespace
