#include "wire/Versions.h"

#include <gtest/gtest.h>

#include "Hex.h"

using namespace brenic;

namespace {

TEST(Versions, TheHighestThatBothSpeakIsUsed) {
  const struct {
    wire::VersionRange m_One, m_Other;
    std::optional<uint32_t> m_Common;
  } k_Rows[] = {{{1, 1}, {1, 1}, 1},
                {{1, 1}, {1, 2}, 1},
                {{1, 3}, {2, 5}, 3},
                {{2, 2}, {1, 9}, 2},
                {{1, 1}, {2, 2}, std::nullopt},
                {{0, 0}, {1, 1}, std::nullopt},
                {{2, 1}, {1, 2}, std::nullopt},  // empty
                {{3, 1}, {1, 1}, std::nullopt}}; // empty
  for (const auto& row : k_Rows) {
    EXPECT_EQ(wire::HighestCommon(row.m_One, row.m_Other), row.m_Common);
    EXPECT_EQ(wire::HighestCommon(row.m_Other, row.m_One), row.m_Common);
  }
}

TEST(Versions, AreShownInWords) {
  EXPECT_EQ(wire::Words({1, 1}), "version 1");
  EXPECT_EQ(wire::Words({1, 2}), "versions 1 to 2");
}

/// The only frame in these bytes.
wire::Frame Decoded(std::string_view hex) {
  wire::FrameReader reader;
  reader.Feed(FromHex(hex));
  return reader.Next().value_or(wire::Frame());
}

TEST(Versions, AHelloAndAWelcomeOfTheFirstReleaseMeanVersionOne) {
  const wire::Frame hello = Decoded(
      "000000300a2e08011210000102030405060708090a0b0c0d0e0f1803220e73657477726967687440686f73742880808008"
      "3201aa");
  EXPECT_EQ(hello.hello().name(), "setwright@host");
  EXPECT_EQ(wire::Words(wire::SpokenBy(hello.hello())), "version 1");
  const wire::Frame welcome = Decoded(
      "00000035123308011210000102030405060708090a0b0c0d0e0f1a046661726d20aa8088082880e0e58ac13330ae989da1c1"
      "33380542024869");
  EXPECT_EQ(welcome.welcome().message(), "Hi");
  EXPECT_EQ(wire::Words(wire::SpokenBy(welcome.welcome())), "version 1");
}

} // namespace
