#include "Layout.h"

#include <gtest/gtest.h>

#include "Sets.h"

using namespace brenic;
using rlib::Path;

namespace {

const SetList k_Two{Roots("X:", "/mnt/x", "/Volumes/x"), Roots("P:\\proj", "/mnt/proj", "")};

TEST(TranslationTableTest, OnLinux) {
  EXPECT_EQ(TranslationTable(k_Two, 1), "Windows | * Linux *   | Mac       \n"
                                        "--------+-------------+-----------\n"
                                        "X:      | (/mnt/x)    | /Volumes/x\n"
                                        "P:\\proj | (/mnt/proj) |           \n");
}

TEST(TranslationTableTest, OnWindows) {
  EXPECT_EQ(TranslationTable(k_Two, 0), "* Windows * | Linux     | Mac       \n"
                                        "------------+-----------+-----------\n"
                                        "(X:)        | /mnt/x    | /Volumes/x\n"
                                        "(P:\\proj)   | /mnt/proj |           \n");
}

TEST(TranslationTableTest, OnMacAnEmptyLocalRootIsAPairOfParentheses) {
  EXPECT_EQ(TranslationTable(k_Two, 2), "Windows | Linux     | * Mac *     \n"
                                        "--------+-----------+-------------\n"
                                        "X:      | /mnt/x    | (/Volumes/x)\n"
                                        "P:\\proj | /mnt/proj | ()          \n");
}

TEST(TranslationTableTest, OnAnotherPlatformNothingIsMarked) {
  EXPECT_EQ(TranslationTable({Roots("X:", "/x", "")}, 3), "Windows | Linux | Mac\n"
                                                          "--------+-------+----\n"
                                                          "X:      | /x    |    \n");
}

TEST(TranslationTableTest, AnEmptyListIsEmpty) {
  EXPECT_EQ(TranslationTable({}, 1), "");
}

TEST(TranslationTableTest, NamesAloneGiveTheLeastWidths) {
  EXPECT_EQ(TranslationTable({Roots("", "", "")}, 1), "Windows | * Linux * | Mac\n"
                                                      "--------+-----------+----\n"
                                                      "        | ()        |    \n");
}

TEST(TranslationTableTest, TheLongestRootOfAnySetWidensTheWholeColumn) {
  EXPECT_EQ(TranslationTable({Roots("A:", "/a", "/Va"), Roots("\\\\server\\b", "/b", "/Volumes/b")}, 1),
            "Windows    | * Linux * | Mac       \n"
            "-----------+-----------+-----------\n"
            "A:         | (/a)      | /Va       \n"
            "\\\\server\\b | (/b)      | /Volumes/b\n");
}

TEST(TranslationTableTest, AKeyThatTheFirstSetLacksHasACellButNoColumn) {
  EXPECT_EQ(TranslationTable({{{0, Path("A")}}, {{0, Path("B")}, {2, Path("/m")}, {7, Path("/x")}}}, 1),
            "Windows\n"
            "-------\n"
            "A      \n"
            "B       | /m  | /x\n");
  EXPECT_EQ(TranslationTable({{{1, Path("/a")}}, {{0, Path("X:")}, {1, Path("/b")}}}, 1),
            "* Linux *\n"
            "---------\n"
            "(/a)     \n"
            "X:      | (/b)     \n");
}

TEST(TranslationTableTest, AKeyThatALaterSetLacksIsLeftOut) {
  EXPECT_EQ(TranslationTable({Roots("A:", "/a", "/Va"), {{0, Path("B:")}, {2, Path("/Vb")}}, {}}, 1),
            "Windows | * Linux * | Mac\n"
            "--------+-----------+----\n"
            "A:      | (/a)      | /Va\n"
            "B:      | /Vb\n"
            "\n");
}

TEST(TranslationTableTest, UnknownPlatformsHaveTheirNumberAsName) {
  EXPECT_EQ(TranslationTable({{{-1, Path("")}, {2, Path("/V")}, {12, Path("/x")}}}, 12),
            "-1 | Mac | * 12 *\n"
            "---+-----+-------\n"
            "   | /V  | (/x)  \n");
}

TEST(TranslationTableTest, AFirstSetWithoutRootsLeavesTheTableWithoutAHeader) {
  EXPECT_EQ(TranslationTable({{}, {{0, Path("A:")}}}, 1), "\nA:     \n");
}

TEST(TranslationTableTest, WidthsAreInBytes) {
  EXPECT_EQ(TranslationTable({{{2, Path("/ü")}}, {{2, Path("/1234")}}}, 1), "Mac  \n"
                                                                            "-----\n"
                                                                            "/ü  \n"
                                                                            "/1234\n");
}

TEST(TranslationTableTest, TheLongestRootsOfAFarmHaveTheirWidth) {
  const std::string root(4096, 'x');
  const std::string rest(4096 - 3, ' ');
  EXPECT_EQ(TranslationTable({{{2, Path("")}}, {{2, Path(root)}}}, 1).str(),
            "Mac" + rest + "\n" + std::string(4096, '-') + "\n" + std::string(4096, ' ') + "\n" + root +
                "\n");
  EXPECT_EQ(TranslationTable({{{2, Path(root)}}, {{2, Path("")}}}, 2).str(),
            "* Mac *" + std::string(4098 - 7, ' ') + "\n" + std::string(4098, '-') + "\n(" + root + ")\n()" +
                std::string(4096, ' ') + "\n");
}

TEST(TranslationTableTest, RootsStandAsTheyAre) {
  EXPECT_EQ(TranslationTable({{{0, Path("\"%s\\n\" | ")}}}, 1), "Windows  \n"
                                                                "---------\n"
                                                                "\"%s\\n\" | \n");
}

TEST(TranslationLineTest, ListsTheRootsOfEverySet) {
  EXPECT_EQ(TranslationLine(k_Two), R"([["X:","/mnt/x","/Volumes/x"],["P:\proj","/mnt/proj",""]])");
}

TEST(TranslationLineTest, AnEmptyListIsAPairOfBrackets) {
  EXPECT_EQ(TranslationLine({}), "[]");
}

TEST(TranslationLineTest, ASetWithoutRootsIsAPairOfBrackets) {
  EXPECT_EQ(TranslationLine({{}, {{1, Path("")}}, {}}), R"([[],[""],[]])");
}

TEST(TranslationLineTest, RootsStandInTheOrderOfKeysWithoutThem) {
  EXPECT_EQ(TranslationLine({{{9, Path("c")}, {-1, Path("a")}, {2, Path("b")}}}), R"([["a","b","c"]])");
}

TEST(TranslationLineTest, NothingIsEscaped) {
  EXPECT_EQ(TranslationLine({{{0, Path("\\\\s\\\"x\"\t,]ü%s")}}}), "[[\"\\\\s\\\"x\"\t,]ü%s\"]]");
}

TEST(TranslationLineTest, ControlCharactersStandAsTheyAre) {
  std::string controls = "\x7f";
  for (char c = 0x1f; c > 0; --c)
    controls += c;
  EXPECT_EQ(TranslationLine({{{0, Path(controls)}}}).str(), "[[\"" + controls + "\"]]");
}

TEST(TranslationLineTest, TheLongestRootsOfAFarmStandWhole) {
  const std::string root(4096, 'x');
  EXPECT_EQ(TranslationLine({{{0, Path(root)}, {1, Path("")}, {2, Path(root)}}}).str(),
            "[[\"" + root + "\",\"\",\"" + root + "\"]]");
}

} // namespace
