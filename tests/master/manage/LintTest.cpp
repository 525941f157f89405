#include "manage/Lint.h"

#include <gmock/gmock.h>

#include "farm/Samples.h"
#include "manage/RootColumns.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TranslationSet Set(const char* windows, const char* linux, const char* mac) {
  return {{0, windows}, {1, linux}, {2, mac}};
}

/// Each finding as it is printed.
std::vector<std::string> Texts(const std::vector<Finding>& findings) {
  std::vector<std::string> texts;
  for (const Finding& finding : findings)
    texts.push_back(FindingText(finding));
  return texts;
}

TEST(LintTranslations, FindsNothingWhereNothingIsWrong) {
  EXPECT_THAT(Texts(LintTranslations({})), IsEmpty());
  EXPECT_THAT(Texts(LintTranslations({Set("X:", "/mnt/x", "/Volumes/x"),
                                      Set("Y:\\", "/mnt/x-2", ""),
                                      Set("\\\\server\\share", "/srv/share", "/Volumes/share"),
                                      Set("//server/other", "/mnt/y/deep", "/Volumes/y/deep"),
                                      Set("", "/mnt/y", "/Volumes/y"),
                                      {{1, "/only"}}})),
              IsEmpty());
}

TEST(LintTranslations, FindsDuplicates) {
  EXPECT_THAT(
      Texts(LintTranslations(
          {Set("X:", "/x", ""), Set("Y:", "/y", ""), Set("X:", "/x", ""), Set("x:\\", "//x/", "")})),
      ElementsAre("The translations 1, 3 and 4 differ only in case, slash or trailing separator. Mend: "
                  "setwright -RemovePathTranslation X: -RemovePathTranslation 'x:\\' "
                  "-PathTranslation X: /x ''"));
  EXPECT_THAT(Texts(LintTranslations({Set("X:", "/x", ""), Set("X:", "/x", "")})),
              ElementsAre("The translations 1 and 2 are the same. Mend: "
                          "setwright -RemovePathTranslation X: -PathTranslation X: /x ''"));
}

TEST(LintTranslations, AddsAgainWhatGoesWithIt) {
  EXPECT_THAT(Texts(LintTranslations({{{1, "/x"}}, {{1, "/x"}}, Set("/x", "", "")})).front(),
              HasSubstr("Mend: setwright -RemovePathTranslation /x -PathTranslation /x '' '' "
                        "-PathTranslation '' /x ''"));
}

TEST(LintTranslations, FindsTheSameRootTwice) {
  EXPECT_THAT(
      Texts(LintTranslations({Set("X:", "/x", ""), Set("", "/x", "/Volumes/x")})),
      ElementsAre(
          "The translations 1 and 2 have the same root, so that the later one is not reached by it: Linux "
          "'/x' and '/x'; the command makes one of them. Mend: setwright -RemovePathTranslation X: "
          "-RemovePathTranslation /Volumes/x -PathTranslation X: /x /Volumes/x"));
  EXPECT_THAT(
      Texts(LintTranslations({Set("X:", "/x", ""), Set("Y:", "/X/", "")})),
      ElementsAre(
          "The translations 1 and 2 have a root that differs only in case, slash or trailing separator: "
          "Linux '/x' and '/X/'; the command takes out the later one, for when the earlier one is right. "
          "Mend: setwright -RemovePathTranslation Y:"));
}

TEST(LintTranslations, FindsRootsThatShadowOthers) {
  EXPECT_THAT(
      Texts(LintTranslations({Set("X:", "/mnt", ""), Set("Z:", "/mnt-2", ""), Set("Y:", "/MNT/a/b", "")})),
      ElementsAre(
          "The translation 1 stands before 3 and shadows it: Linux '/mnt' holds '/MNT/a/b'; the command "
          "moves it behind. Mend: setwright -RemovePathTranslation X: -PathTranslation X: /mnt ''"));
  EXPECT_THAT(Texts(LintTranslations({Set("X:\\a", "/mnt", ""), Set("X:", "/mnt/b", "")})),
              ElementsAre(HasSubstr("no order helps")));
  EXPECT_THAT(Texts(LintTranslations({Set("", "/", ""), Set("", "/x", "")})),
              ElementsAre(HasSubstr("shadows")));
}

TEST(LintTranslations, FindsRootsInTheWrongColumn) {
  EXPECT_THAT(
      Texts(LintTranslations({Set("/mnt/x", "X:\\", "")})),
      ElementsAre("The translation 1 has a root that looks like another platform's: Windows '/mnt/x', Linux "
                  "'X:\\'. Mend: setwright -RemovePathTranslation /mnt/x -PathTranslation 'X:\\' /mnt/x ''"));
  EXPECT_THAT(Texts(LintTranslations({Set("X:", "/Volumes/x", "/mnt/x")})),
              ElementsAre(HasSubstr("-PathTranslation X: /mnt/x /Volumes/x")));
  EXPECT_EQ(InRightColumns(Set("/x", "/x", "")), Set("", "/x", ""));
  EXPECT_EQ(InRightColumns(Set("/a", "/b", "/c")), Set("", "/b", "/c"));
  EXPECT_EQ(InRightColumns(Set("", "X:", "Y:")), Set("X:", "", ""));
}

TEST(LintTranslations, SaysSoWhenNoCommandMends) {
  rlib::vector<TranslationSet> translations{Set("", "", ""), Set("", "", "")};
  for (int i = 0; i != 100; ++i)
    translations.push_back(Set("", ("/x" + std::to_string(i)).c_str(), ""));
  EXPECT_THAT(Texts(LintTranslations(translations)),
              ElementsAre(HasSubstr("No line of setwright of reasonable length mends it")));
  EXPECT_THAT(Texts(LintTranslations({Set("-h", "", ""), Set("-h", "", "")})),
              ElementsAre(HasSubstr("No line")));
}

TEST(LintTranslations, TakesVeryMany) {
  const size_t most = 4000;
  rlib::vector<TranslationSet> same, shared, nested, apart;
  std::string deep;
  for (size_t i = 0; i != most; ++i) {
    const std::string number = std::to_string(i);
    same.push_back(Set("X:", "/x", ""));
    shared.push_back(Set(("X:\\" + number).c_str(), "/x", ""));
    deep = i % 400 == 0 ? "/" + number : deep + "/a";
    nested.push_back(Set("", deep.c_str(), ""));
    apart.push_back(Set(("X:\\" + number).c_str(), ("/x" + number).c_str(), ""));
  }
  EXPECT_EQ(LintTranslations(same).size(), 1u);
  EXPECT_EQ(LintTranslations(shared).size(), most - 1);
  EXPECT_EQ(LintTranslations(nested).size(), most - most / 400);
  EXPECT_THAT(LintTranslations(apart), IsEmpty());
}

TEST(LintUserLimits, FindsNothingWhereNothingIsWrong) {
  for (const char* limits : {"", "ann=2;", "bob=3;jimbob=5;", "ann=2;;bob=0;", "a b=1;50%=2;ünï=3;"})
    EXPECT_THAT(Texts(LintUserLimits(limits)), IsEmpty()) << limits;
}

TEST(LintUserLimits, FindsEntriesThatTheToolMisreads) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {"ann;", "User limits: the entry 'ann' has no =. Mend: setwright -Option UserLimits ''"},
      {"=5;", "User limits: the entry '=5' has no user. Mend: setwright -Option UserLimits ''"},
      {"ann=x;bob=1;", "User limits: the entry 'ann=x' is read as the limit 0. Mend: setwright -Option "
                       "UserLimits 'ann=0;bob=1;'"},
      {"ann=05;",
       "User limits: the entry 'ann=05' is read as the limit 5. Mend: setwright -Option UserLimits 'ann=5;'"},
      {"ann=-1;bob=1;", "User limits: the entry 'ann=-1' is read as the limit -1. Mend: setwright -Option "
                        "UserLimits 'bob=1;'"},
      {"ann=99999999999;", "User limits: the entry 'ann=99999999999' is read as the limit 99999999999. Mend: "
                           "setwright -Option UserLimits 'ann=2147483647;'"},
      {" ann=1;",
       "User limits: the entry ' ann=1' has a space around the user's name, which counts as part of it. "
       "Mend: setwright -Option UserLimits 'ann=1;'"},
      {"ann=1;bob=2",
       "User limits: the last entry, 'bob=2', has no ; behind it, so that a change of it writes all "
       "limits twice. Mend: setwright -Option UserLimits 'ann=1;bob=2;'"},
      {"ann=1;ann=2;",
       "User limits: -SetUserLimit and -RemoveUserLimit of 'ann' change the entry 'ann=1' in place "
       "of 'ann=2'. Mend: setwright -Option UserLimits 'ann=1;'"},
      {"jimbob=5;bob=3;",
       "User limits: -SetUserLimit and -RemoveUserLimit of 'bob' change the entry 'jimbob=5' in "
       "place of 'bob=3'. Mend: setwright -Option UserLimits 'bob=3;jimbob=5;'"},
      {"a\\b=1;c=2;",
       "User limits: -GetUserLimits does not show the user 'a\\b' as it is, for a quote, a backslash "
       "or a percent sign in the name; the command leaves the limit out. Mend: setwright -Option "
       "UserLimits 'c=2;'"},
      {"%d=1;",
       "User limits: -GetUserLimits does not show the user '%d' as it is, for a quote, a backslash or a "
       "percent sign in the name; the command leaves the limit out. Mend: setwright -Option UserLimits ''"}};
  for (const auto& [limits, expected] : cases)
    EXPECT_THAT(Texts(LintUserLimits(limits)), ElementsAre(expected)) << limits;
}

TEST(LintUserLimits, FindsTheFirstOfManyNamesThatEndAlike) {
  const auto findings = Texts(LintUserLimits("xbob=1;xjimbob=2;jimbob=3;bob=4;b=5;"));
  EXPECT_THAT(findings, ElementsAre(HasSubstr("'jimbob' change the entry 'xjimbob=2'"),
                                    HasSubstr("'bob' change the entry 'xbob=1'"),
                                    HasSubstr("'b' change the entry 'xbob=1'")));
  EXPECT_THAT(findings.front(), HasSubstr("'b=5;bob=4;xbob=1;jimbob=3;xjimbob=2;'"));
}

TEST(LintUserLimits, MendsAllButWhatItDoesNotShowAsItIs) {
  const auto findings = Texts(LintUserLimits("ann=1;\"x=2;ann=3"));
  ASSERT_EQ(findings.size(), 3u);
  EXPECT_THAT(findings[0], HasSubstr("leaves the limit out. Mend: setwright -Option UserLimits 'ann=1;'"));
  EXPECT_THAT(findings[1], HasSubstr("UserLimits 'ann=1;\"x=2;'"));
}

TEST(LintUserLimits, TakesVeryMany) {
  std::string alike, apart;
  for (int i = 0; i != 20'000; ++i) {
    alike += "ann=1;";
    apart += "user" + std::to_string(i) + "x=1;";
  }
  EXPECT_EQ(LintUserLimits(alike).size(), 19'999u);
  EXPECT_THAT(LintUserLimits(apart), IsEmpty());
  std::string nested; // each name ends with the one behind it
  for (int i = 600; i != 0; --i)
    nested += std::string(static_cast<size_t>(i), 'a') + "=1;";
  const auto findings = LintUserLimits(nested);
  EXPECT_EQ(findings.size(), 599u);
  EXPECT_THAT(findings[0].m_Otherwise, StartsWith("They are too long for a command line"));
}

TEST(LintRemovedTypes, TellsOfSettingsOfTypesThatTheFarmDoesNotHave) {
  Farm farm = SampleFarm();
  farm.m_Limits = {{Type(1), 3}, {Type(2), 4}, {Type(9), 5}};
  farm.m_TypeOptions[Type(2)]["Samples"] = "1";
  EXPECT_THAT(
      Texts(LintRemovedTypes(farm)),
      ElementsAre(StartsWith("There is a limit, 5, of the product ab000000-0000-0000-0000-000000000009, "
                             "which is not installed. setwright cannot take it away")));
  farm.m_Limits.erase(Type(9));
  farm.m_Products.Customise({{Type(2), Customisation()}});
  EXPECT_THAT(
      Texts(LintRemovedTypes(farm)),
      ElementsAre(
          "There is a limit, 4, of the product 'Beta' (ab000000-0000-0000-0000-000000000002), which is not "
          "installed. Mend: setwright -RemoveProduct 00000000-0000-0000-0000-000000000000",
          HasSubstr("There is an option, 'Samples', of the product 'Beta'")));
  farm.m_Products.Customise({{Type(2), std::nullopt}, {Type(3), Customisation{MakeProduct(3, "Beta")}}});
  EXPECT_THAT(Texts(LintRemovedTypes(farm)).front(),
              testing::EndsWith(
                  "the product 'Beta', which has a name of it, hides it. Mend: setwright -RemoveProduct "
                  "ab000000-0000-0000-0000-000000000003"));
}

TEST(Finding, IsOneCleanLineWhateverItQuotes) {
  const auto findings =
      LintTranslations({Set("", "/x\x1b\n'\xe2\x80\xae", ""), Set("", "/x\x1b\n'\xe2\x80\xae", "")});
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_THAT(FindingText(findings[0]),
              testing::EndsWith("Mend: setwright -RemovePathTranslation $'/x\\x1b\\x0a\\'\\xe2\\x80\\xae' "
                                "-PathTranslation '' $'/x\\x1b\\x0a\\'\\xe2\\x80\\xae' ''"));
  EXPECT_EQ(FindingJson(findings[0]).find('\n'), std::string::npos);
}

} // namespace
} // namespace brenic::master
