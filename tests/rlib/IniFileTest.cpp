#include "rlib/IniFile.h"

#include <gmock/gmock.h>
#include <vector>

#include "rlib/IniContents.h"

using rlib::IniFile;
using rlib::String;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> Parsed(std::string_view text, size_t skipped = 0, bool quotes = true) {
  IniFile ini(false);
  EXPECT_TRUE(ini.LoadText(text, quotes));
  EXPECT_EQ(ini.SkippedLines(), skipped);
  return Contents(ini);
}

TEST(IniFile, DeliversSectionsAndPairsInFileOrder) {
  EXPECT_THAT(Parsed("[B]\nz=1\na=2\n[A]\n[C]\nx=\n"), ElementsAre("[B]", "z=1", "a=2", "[A]", "[C]", "x="));
}

TEST(IniFile, DeliversRepeatedSectionsAndKeysEachTime) {
  EXPECT_THAT(Parsed("[A]\nx=1\nx=2\n[B]\n[A]\nx=3\n"),
              ElementsAre("[A]", "x=1", "x=2", "[B]", "[A]", "x=3"));
}

TEST(IniFile, PairsBeforeTheFirstHeaderAreInASectionWithoutName) {
  EXPECT_THAT(Parsed("x=1\n[A]\ny=2"), ElementsAre("[]", "x=1", "[A]", "y=2"));
}

TEST(IniFile, DropsSpaceAroundNamesAndValues) {
  EXPECT_THAT(Parsed(" \t[ My Section ]  \n  a b \t=  c d \t \n"), ElementsAre("[My Section]", "a b=c d"));
}

TEST(IniFile, CommentsStandOnTheirOwnLines) {
  EXPECT_THAT(Parsed("; one\n  # two\n[A]\nx = 1 ; not a comment # either\n\n \t\n"),
              ElementsAre("[A]", "x=1 ; not a comment # either"));
}

TEST(IniFile, QuotesKeepWhatTheyHold) {
  EXPECT_THAT(Parsed("[A]\n\" a=b \" = \" c \"\n"), ElementsAre("[A]", " a=b = c "));
  EXPECT_THAT(Parsed("\";x\"=\"\"\n"), ElementsAre("[]", ";x="));
}

TEST(IniFile, NothingBetweenQuotesIsAnEscape) {
  EXPECT_THAT(Parsed("a=\"\\\\server\\share\"\nb=\"C:\\dir\\\"\nc=\"say \\\"hi\\\"\"\n\"d\\\"=\"\"\"\n"),
              ElementsAre("[]", "a=\\\\server\\share", "b=C:\\dir\\", "c=say \\\"hi\\\"", "d\\=\""));
}

TEST(IniFile, QuotesAreDroppedOnlyAtBothEnds) {
  EXPECT_THAT(Parsed("a=\"x\" y\nb=\"open\nc=x \"y\"\nd=\"\nf=\"a\"b\"\n\"g\" h=1\n\"i=2\nj\"=3\n\"=4\n"),
              ElementsAre("[]", "a=\"x\" y", "b=\"open", "c=x \"y\"", "d=\"", "f=a\"b", "\"g\" h=1", "\"i=2",
                          "j\"=3", "\"=4"));
  EXPECT_THAT(Parsed("a=\"x\"\n", 0, false), ElementsAre("[]", "a=\"x\""));
}

TEST(IniFile, AQuotedNameEndsAtTheFirstQuoteThatAnEqualSignFollows) {
  EXPECT_THAT(Parsed("\"a=b\"c\" = 1\n\"\"\"=2\n\"d\" \t= \"e\" = f\n"),
              ElementsAre("[]", "a=b\"c=1", "\"=2", "d=\"e\" = f"));
}

TEST(IniFile, TheEmptyNameIsOneInQuotes) {
  EXPECT_THAT(Parsed("\"\"=2\n \"\" =\n"), ElementsAre("[]", "=2", "="));
}

TEST(IniFile, ACommentMayFollowASection) {
  EXPECT_THAT(Parsed("[A] ; see [B]\nx=1\n[B]# two\n[C];\n[d]e] \n"),
              ElementsAre("[A]", "x=1", "[B]", "[C]", "[d]e]"));
}

TEST(IniFile, ValueMayHoldEqualSigns) {
  EXPECT_THAT(Parsed("a=b=c\n"), ElementsAre("[]", "a=b=c"));
}

TEST(IniFile, AcceptsByteOrderMarkAndCrLf) {
  EXPECT_THAT(Parsed("\xef\xbb\xbf[A]\r\nx=1\r\n\r\ny=2"), ElementsAre("[A]", "x=1", "y=2"));
}

TEST(IniFile, SkipsLinesThatAreNothing) {
  EXPECT_THAT(Parsed("[A]\njunk\n=1\nx=1\n\"a\"\n", 3), ElementsAre("[A]", "x=1"));
}

TEST(IniFile, TakesNoTwoHeadersInOneLineButBracketsInAName) {
  IniFile ini;
  ini.LoadText("[A] [B]\na=1\n[Fluid [beta]] ; comment\n");
  EXPECT_EQ(ini.SkippedLines(), 2u);
  ASSERT_TRUE(ini.SetNextSection());
  EXPECT_EQ(ini.GetCurrentSection(), "Fluid [beta]");
  EXPECT_FALSE(ini.SetNextSection());
}

TEST(IniFile, SkipsAndCountsWhatIsUnderAMalformedHeader) {
  for (const char* header : {"[open", "[]", "[ ]", "[B] tail", "[B] [C]x"})
    EXPECT_THAT(Parsed("[A]\na=1\n" + std::string(header) + "\nx=1\njunk\n; comment\n\ny=2\n[Z]\nz=1\n", 4),
                ElementsAre("[A]", "a=1", "[Z]", "z=1"))
        << header;
  EXPECT_THAT(Parsed("[" + std::string(IniFile::k_MaxLine, 'x') + "]\nx=1\n[Z]\n", 2), ElementsAre("[Z]"));
}

TEST(IniFile, WhatIsNoTextIsNotRead) {
  for (const std::string_view text :
       {std::string_view("\xff\xfe[\0A\0]\0", 8), std::string_view("\xfe\xff\0[\0A\0]", 8),
        std::string_view("\xff\xfe"), std::string_view("[A]\nx=1\n; \0\n", 12)}) {
    IniFile ini;
    EXPECT_FALSE(ini.LoadText(text));
    EXPECT_THAT(Contents(ini), IsEmpty());
    EXPECT_EQ(ini.SkippedLines(), 0u);
  }
}

TEST(IniFile, EmptyTextHasNoSections) {
  EXPECT_THAT(Parsed(""), IsEmpty());
  EXPECT_THAT(Parsed("\xef\xbb\xbf"), IsEmpty());
  EXPECT_THAT(Parsed("\n\n"), IsEmpty());
}

TEST(IniFile, LinesMayHaveOneMebibyteAndNotMore) {
  const std::string fits = "x=" + std::string(IniFile::k_MaxLine - 2, 'v');
  EXPECT_THAT(Parsed(fits), ElementsAre("[]", fits));
  EXPECT_THAT(Parsed(fits + "\r\ny=1"), ElementsAre("[]", fits, "y=1"));
  EXPECT_THAT(Parsed(fits + "v\ny=1\n", 1), ElementsAre("[]", "y=1"));
  EXPECT_THAT(Parsed(fits + "vv\r\n[A]", 1), ElementsAre("[A]"));
  EXPECT_THAT(Parsed("y=1\n" + std::string(5 << 20, 'x'), 1), ElementsAre("[]", "y=1"));
}

TEST(IniFile, SectionsCanBePassedOverHalfRead) {
  IniFile ini(false);
  ini.LoadText("[A]\na=1\nb=2\n[B]\nc=3\n");
  String name;
  String value;
  ASSERT_TRUE(ini.SetNextSection());
  ASSERT_TRUE(ini.GetNextValue(name, value));
  ASSERT_TRUE(ini.SetNextSection());
  EXPECT_EQ(ini.GetCurrentSection(), "B");
  ASSERT_TRUE(ini.GetNextValue(name, value));
  EXPECT_EQ(name, "c");
  EXPECT_EQ(value, "3");
}

TEST(IniFile, LoadsAMillionPairs) {
  std::string text = "[A]\n";
  for (int i = 0; i < 1'000'000; ++i)
    text += "name" + std::to_string(i) + "=value\n";
  IniFile ini(false);
  ini.LoadText(text);
  ASSERT_TRUE(ini.SetNextSection());
  String name;
  String value;
  int count = 0;
  while (ini.GetNextValue(name, value))
    ++count;
  EXPECT_EQ(count, 1'000'000);
  EXPECT_EQ(name, "name999999");
}

} // namespace
