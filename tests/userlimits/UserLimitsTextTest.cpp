#include "UserLimitsText.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using rlib::String;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string Line(const std::string& user, const std::string& number) {
  return "User: '" + user + "' with a worker limit of '" + number + "'";
}

TEST(UserLimitsTextTest, AnEntryIsReplacedWhereItStands) {
  EXPECT_EQ(WithLimit("ann=2;bob=5;", "bob", 7), "ann=2;bob=7;");
  EXPECT_EQ(WithLimit("ann=2;bob=5;", "ann", 0), "ann=0;bob=5;");
  EXPECT_EQ(WithLimit("ann=2;bob=5;cat=1;", "bob", 12), "ann=2;bob=12;cat=1;");
}

TEST(UserLimitsTextTest, ANewEntryComesLast) {
  EXPECT_EQ(WithLimit("ann=2;bob=5;", "cat", 1), "ann=2;bob=5;cat=1;");
  EXPECT_EQ(WithLimit("", "bob", 3), "bob=3;");
  EXPECT_EQ(WithLimit("ann=2", "bob", 3), "ann=2bob=3;");
}

TEST(UserLimitsTextTest, AnEntryIsRemoved) {
  EXPECT_EQ(WithoutLimit("ann=2;bob=5;", "ann"), "bob=5;");
  EXPECT_EQ(WithoutLimit("ann=2;bob=5;", "bob"), "ann=2;");
  EXPECT_EQ(WithoutLimit("ann=2;", "ann"), "");
}

TEST(UserLimitsTextTest, RemovingAnAbsentEntryChangesNothing) {
  EXPECT_EQ(WithoutLimit("ann=2;bob=5;", "dan"), "ann=2;bob=5;");
  EXPECT_EQ(WithoutLimit("", "dan"), "");
}

TEST(UserLimitsTextTest, NamesAreCaseSensitive) {
  EXPECT_EQ(WithLimit("ann=2;", "Ann", 3), "ann=2;Ann=3;");
  EXPECT_EQ(WithoutLimit("ann=2;", "ANN"), "ann=2;");
}

TEST(UserLimitsTextTest, ANameIsAlsoFoundAtTheEndOfALongerOne) {
  EXPECT_EQ(WithLimit("jimbob=2;", "bob", 4), "jimbob=4;");
  EXPECT_EQ(WithoutLimit("jimbob=2;bob=3;", "bob"), "jimbob=3;");
}

TEST(UserLimitsTextTest, ANameIsNotFoundAtTheBeginningOfALongerOne) {
  EXPECT_EQ(WithLimit("bobby=2;", "bob", 4), "bobby=2;bob=4;");
}

TEST(UserLimitsTextTest, OnlyTheFirstEntryIsTaken) {
  EXPECT_EQ(WithLimit("a=1;b=2;a=3;", "a", 9), "a=9;b=2;a=3;");
  EXPECT_EQ(WithoutLimit("a=1;b=2;a=3;", "a"), "b=2;a=3;");
}

TEST(UserLimitsTextTest, BehindAnEntryWithoutItsEndStandsTheWholeTextAgain) {
  EXPECT_EQ(WithoutLimit("bob=3", "bob"), "bob=3");
  EXPECT_EQ(WithoutLimit("ann=2;bob=3", "bob"), "ann=2;ann=2;bob=3");
  EXPECT_EQ(WithLimit("ann=2;bob=3", "bob", 4), "ann=2;bob=4;ann=2;bob=3");
}

TEST(UserLimitsTextTest, ASeparatorBeforeTheEntryDoesNotEndIt) {
  EXPECT_EQ(WithoutLimit(";;bob=3", "bob"), ";;;;bob=3");
  EXPECT_EQ(WithoutLimit(";;bob=3;;", "bob"), ";;;");
}

TEST(UserLimitsTextTest, NamesAreWrittenAsTheyAre) {
  EXPECT_EQ(WithLimit("", "50%n%s%d", 5), "50%n%s%d=5;");
  EXPECT_EQ(WithLimit("", "a b\"\\", 5), "a b\"\\=5;");
  EXPECT_EQ(WithLimit("x=1;", "a;b=c", 5), "x=1;a;b=c=5;");
}

TEST(UserLimitsTextTest, AnEmptyNameIsFoundAtTheFirstEqualsSign) {
  EXPECT_EQ(WithLimit("ann=2;bob=5;", "", 0), "ann=0;bob=5;");
  EXPECT_EQ(WithLimit("", "", 0), "=0;");
}

TEST(UserLimitsTextTest, HasALineAUser) {
  EXPECT_THAT(LimitLines("ann=2;bob=5"), ElementsAre("User: 'ann' with a worker limit of '2'",
                                                     "User: 'bob' with a worker limit of '5'"));
  EXPECT_THAT(LimitLines("ann=2;bob=5;"), ElementsAre(Line("ann", "2"), Line("bob", "5")));
}

TEST(UserLimitsTextTest, EmptyEntriesHaveNoLine) {
  EXPECT_THAT(LimitLines(""), IsEmpty());
  EXPECT_THAT(LimitLines(";"), IsEmpty());
  EXPECT_THAT(LimitLines(";;ann=2;;;bob=5;;"), ElementsAre(Line("ann", "2"), Line("bob", "5")));
}

TEST(UserLimitsTextTest, AnEntryWithoutAnEqualsSignIsNameAndNumber) {
  EXPECT_THAT(LimitLines("12;ann;7up"), ElementsAre(Line("12", "12"), Line("ann", "0"), Line("7up", "7")));
}

TEST(UserLimitsTextTest, TheFirstEqualsSignEndsTheName) {
  EXPECT_THAT(LimitLines("a=b=5;=4;a=3=2"), ElementsAre(Line("a", "0"), Line("", "4"), Line("a", "3")));
}

TEST(UserLimitsTextTest, ANumberIsReadAsFarAsItGoes) {
  EXPECT_THAT(LimitLines("a=;b=x;c=7x;d= 8;e=-1;f=+9;g=010;h=0x10"),
              ElementsAre(Line("a", "0"), Line("b", "0"), Line("c", "7"), Line("d", "8"), Line("e", "-1"),
                          Line("f", "9"), Line("g", "10"), Line("h", "0")));
}

TEST(UserLimitsTextTest, ANumberBeyond32BitsIsShownWhole) {
  EXPECT_THAT(
      LimitLines("a=2147483648;b=4294967296;c=-4294967297;d=99999999999999999999;e=-99999999999999999999"),
      ElementsAre(Line("a", "2147483648"), Line("b", "4294967296"), Line("c", "-4294967297"),
                  Line("d", "9223372036854775807"), Line("e", "-9223372036854775808")));
}

TEST(UserLimitsTextTest, QuotesAndEscapesAreThoseOfTokens) {
  EXPECT_THAT(LimitLines(R"("a;b=3;c"=4;a\;b=5;"x y"=6;a\\b=7;\"q\"=8;"open;end=9)"),
              ElementsAre(Line("a;b", "3"), Line("a;b", "5"), Line("x y", "6"), Line("a\\b", "7"),
                          Line("\"q\"", "8"), Line("open;end", "9")));
  EXPECT_THAT(LimitLines("\"\";"), ElementsAre(Line("", "0")));
}

TEST(UserLimitsTextTest, APercentSignInANameIsADirective) {
  EXPECT_THAT(LimitLines("50%n%s%d=5"), ElementsAre("User: '50%n5%d' with a worker limit of '%d'"));
  EXPECT_THAT(LimitLines("100%=5"), ElementsAre(Line("100%", "5")));
  EXPECT_THAT(LimitLines("a%%b=5"), ElementsAre(Line("a%b", "5")));
  EXPECT_THAT(LimitLines("%03d=5"), ElementsAre("User: '005' with a worker limit of '%d'"));
  EXPECT_THAT(LimitLines("%*d%1$s=5"), ElementsAre(Line("%*d%1$s", "5")));
}

// The edits written down once more, character by character.
std::string Model(const std::string& limits, const std::string& user, std::optional<int> limit) {
  const std::string key = user + "=";
  std::string before = limits;
  std::string behind;
  for (size_t at = 0; at < limits.size(); ++at) {
    bool isHere = true;
    for (size_t i = 0; i < key.size(); ++i)
      isHere = isHere && at + i < limits.size() && limits[at + i] == key[i];
    if (!isHere)
      continue;
    before.clear();
    for (size_t i = 0; i < at; ++i)
      before += limits[i];
    behind = limits;
    for (size_t i = at; i < limits.size(); ++i) {
      if (limits[i] != ';')
        continue;
      behind.clear();
      for (size_t rest = i + 1; rest < limits.size(); ++rest)
        behind += limits[rest];
      break;
    }
    break;
  }
  return before + (limit ? user + "=" + std::to_string(*limit) + ";" : "") + behind;
}

std::string RandomText(std::mt19937& random, size_t limit, std::string_view alphabet) {
  std::string text(random() % limit, ' ');
  for (char& c : text)
    c = alphabet[random() % alphabet.size()];
  return text;
}

TEST(UserLimitsTextTest, EditsOfRandomTextsAgreeWithAModel) {
  size_t found = 0;
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const std::string limits = RandomText(random, 24, "aabb==;;12\"\\% ");
    const std::string user = RandomText(random, 4, "ab=;% ");
    const int limit = static_cast<int>(random() % 1000);
    ASSERT_EQ(WithLimit(limits, user, limit).str(), Model(limits, user, limit)) << limits << " | " << user;
    ASSERT_EQ(WithoutLimit(limits, user).str(), Model(limits, user, {})) << limits << " | " << user;
    found += limits.find(user + "=") != std::string::npos;
  }
  EXPECT_GT(found, 4000u) << "the texts are too tame";
}

// Users as a list of pairs, which texts written by the tool stand for as long as no name ends another.
TEST(UserLimitsTextTest, RandomOperationsAgreeWithAListOfUsers) {
  static const char* const k_Names[] = {"ann", "bob", "Bob", "c d", "50 percent", "\"q\"", "é"};
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::vector<std::pair<std::string, int>> users;
    String limits;
    for (int operation = 0; operation < 40; ++operation) {
      const std::string name = k_Names[random() % std::size(k_Names)];
      const auto user =
          std::find_if(users.begin(), users.end(), [&](const auto& entry) { return entry.first == name; });
      if (random() % 3 == 0) {
        limits = WithoutLimit(limits, name);
        if (user != users.end())
          users.erase(user);
      } else {
        const int limit = static_cast<int>(random() >> 1);
        limits = WithLimit(limits, name, limit);
        if (user != users.end())
          user->second = limit;
        else
          users.emplace_back(name, limit);
      }
      std::string expected;
      std::vector<String> lines;
      for (const auto& [entry, limit] : users) {
        expected += entry + "=" + std::to_string(limit) + ";";
        lines.push_back(Line(entry == "\"q\"" ? "q" : entry, std::to_string(limit)));
      }
      ASSERT_EQ(limits.str(), expected);
      ASSERT_EQ(LimitLines(limits), lines);
    }
  }
}

TEST(UserLimitsTextTest, RandomTextsHaveOneLineAToken) {
  for (unsigned seed = 1; seed <= 20000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    // Without quotes, escapes and directives a token is what stands between separators.
    const std::string plain = RandomText(random, 32, "ab==;;;12- +");
    std::vector<String> lines;
    std::string token;
    for (const char c : plain + ";") {
      if (c != ';') {
        token += c;
        continue;
      }
      if (token.empty())
        continue;
      const size_t equals = token.find('=');
      const bool isEntry = equals != std::string::npos;
      const std::string number = isEntry ? token.substr(equals + 1) : token;
      lines.push_back(Line(isEntry ? token.substr(0, equals) : token,
                           std::to_string(static_cast<int>(std::strtol(number.c_str(), nullptr, 10)))));
      token.clear();
    }
    ASSERT_EQ(LimitLines(plain), lines) << plain;

    // With them there is at most one more line than separators, and each keeps its beginning.
    const std::string wild = RandomText(random, 32, "ab=;;\"\\%%%dns*$1.0lhc");
    const auto all = LimitLines(wild);
    ASSERT_LE(all.size(), static_cast<size_t>(std::count(wild.begin(), wild.end(), ';')) + 1) << wild;
    for (const String& line : all)
      ASSERT_TRUE(line.str().starts_with("User: '")) << wild;
  }
}

} // namespace
