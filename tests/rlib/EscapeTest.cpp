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

} // namespace
