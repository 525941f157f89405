#include "rlib/Escape.h"

#include <gtest/gtest.h>

using rlib::String;

namespace {

TEST(EscapeControls, ShowsControlCharacters) {
  EXPECT_EQ(rlib::EscapeControls("a\nb\tc\rd\x1b[31m\x7f\x01"), "a\\nb\\tc\\rd\\x1b[31m\\x7f\\x01");
  EXPECT_EQ(rlib::EscapeControls(String("\0", 1)), "\\x00");
}

TEST(EscapeControls, LeavesEverythingElse) {
  EXPECT_EQ(rlib::EscapeControls("P:\\proj \xc3\xa4 \xff\xc2"), "P:\\proj \xc3\xa4 \xff\xc2");
}

TEST(EscapeControls, ShowsControlCharactersOfTwoBytesToo) {
  EXPECT_EQ(rlib::EscapeControls("\xc2\x9b"
                                 "1m\xc2\xa0"),
            "\\xc2\\x9b1m\xc2\xa0");
}

TEST(EscapeControls, ShowsBytesThatSomeTerminalsTakeForControls) {
  EXPECT_EQ(rlib::EscapeControls("\x9b"
                                 "1m \xc0\x9b \xe2\x80"),
            "\\x9b1m \xc0\\x9b \xe2\\x80");
  EXPECT_EQ(rlib::EscapeControls("\xc3\x9b \xe4\xb8\x80 \xf0\x9f\x98\x80"),
            "\xc3\x9b \xe4\xb8\x80 \xf0\x9f\x98\x80");
}

TEST(EscapeControls, ShowsWhatTurnsTheDirectionOrEndsALine) {
  EXPECT_EQ(rlib::EscapeControls("a\u202eb\u202a\u2066\u2069c\u2028d\u2029"),
            "a\\xe2\\x80\\xaeb\\xe2\\x80\\xaa\\xe2\\x81\\xa6\\xe2\\x81\\xa9c\\xe2\\x80\\xa8d\\xe2\\x80\\xa9");
  EXPECT_EQ(rlib::EscapeControls("\u200f\u2027\u202f\u2065\u206a"), "\u200f\u2027\u202f\u2065\u206a");
}

TEST(EscapeControls, InJsonSaysTheSame) {
  EXPECT_EQ(rlib::EscapeControlsInJson("{\"\x7f\":\"\u009b\u202e\u00e4\"}"), R"({"\u007f":"\u009b\u202e)"
                                                                             "\u00e4\"}");
}

TEST(HoldsControls, MeansControlCharactersAlone) {
  for (const char* text : {"a\n", "\x7f", "\u0085", "\x9b"})
    EXPECT_TRUE(rlib::HoldsControls(text)) << text;
  for (const char* text : {"", "a \u00e4", "\u202e", "\u00a0"})
    EXPECT_FALSE(rlib::HoldsControls(text)) << text;
}

TEST(Excerpt, IsTheWholeOfAShortText) {
  EXPECT_EQ(rlib::Excerpt("Größe 50% 夜"), "Größe 50% 夜");
  EXPECT_EQ(rlib::Excerpt(String(std::string(64, 'x'))), String(std::string(64, 'x')));
}

TEST(Excerpt, EndsBetweenTwoCharacters) {
  EXPECT_EQ(rlib::Excerpt(String(std::string(65, 'x'))), String(std::string(64, 'x') + "..."));
  EXPECT_EQ(rlib::Excerpt(String(std::string(63, 'x') + "é")), String(std::string(63, 'x') + "..."));
  EXPECT_EQ(rlib::Excerpt(String(std::string(62, 'x') + "夜")), String(std::string(62, 'x') + "..."));
}

TEST(Excerpt, ShowsWhatOnesEyesWouldMiss) {
  EXPECT_EQ(rlib::Excerpt("a\n\x1b[31m\xc2\x9b"), "a\\n\\x1b[31m\\xc2\\x9b");
  EXPECT_EQ(rlib::Excerpt("a\xe2\x80\x8b\xe2\x80\xae"
                          "b\xc2\xa0"),
            "a\\u{200b}\\u{202e}b\\u{a0}");
  EXPECT_EQ(rlib::Excerpt("\xff-\xc3"), "\\xff-\\xc3");
}

} // namespace
