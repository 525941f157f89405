// Which version of the protocol is spoken, and what a Master says that does not let the client in.
#include "ClientTest.h"
#include "wire/Versions.h"

namespace brenic {
namespace {

constexpr char k_UseMatchingRelease[] = "; use a release of this program that goes with the Master's\n";

class GreetingTest : public ClientTest {
protected:
  /// The exit status of a run against a Master that uses `version` and names this range, if any.
  int RunWith(uint32_t version, const std::optional<wire::VersionRange>& range) {
    m_Master.m_Plans[0].m_Version = version;
    m_Master.m_Plans[0].m_Versions = range;
    m_App.m_OnProducts = [this] { m_App.Stop(); };
    return Run();
  }
  /// The only line of a run against a Master that says this instead of Welcome.
  std::string LineAfter(const wire::Frame& frame) {
    m_Master.m_Plans[0].m_Garbage = wire::Encode(frame);
    EXPECT_EQ(Run(), 3);
    EXPECT_EQ(m_Master.Connections(), 1);
    return m_Lines;
  }
};

TEST_F(GreetingTest, HelloNamesTheVersionsBesidesTheOneThatIsSpokenWithTheFirstRelease) {
  EXPECT_EQ(RunWith(1, std::nullopt), 0); // whose Welcome names no range
  EXPECT_EQ(m_Lines, "");
  const wire::Hello hello = m_Master.Frames().at(0).hello();
  EXPECT_EQ(hello.protocol_version(), 1u);
  EXPECT_EQ(hello.lowest_version(), 1u);
  EXPECT_EQ(hello.highest_version(), 1u);
}

TEST_F(GreetingTest, AMasterOfTheNextReleaseThatUsesVersionOneIsWelcome) {
  EXPECT_EQ(RunWith(1, wire::VersionRange{1, 2}), 0);
  EXPECT_EQ(m_Lines, "");
}

TEST_F(GreetingTest, AVersionThatThisProgramDoesNotSpeakIsFinal) {
  EXPECT_EQ(RunWith(2, wire::VersionRange{1, 2}), 3);
  EXPECT_EQ(m_Master.Connections(), 1);
  EXPECT_EQ(m_Lines,
            std::string("The Master at fake:1 answers in version 2 of the protocol; it speaks versions 1 "
                        "to 2, this program version 1") +
                k_UseMatchingRelease);
}

TEST_F(GreetingTest, AMasterThatSpeaksOnlyLaterVersionsIsFinal) {
  EXPECT_EQ(RunWith(2, wire::VersionRange{2, 2}), 3);
  EXPECT_EQ(m_Master.Connections(), 1);
  EXPECT_EQ(m_Lines,
            std::string("The Master at fake:1 answers in version 2 of the protocol; it speaks version 2, "
                        "this program version 1") +
                k_UseMatchingRelease);
}

TEST_F(GreetingTest, WhatAMasterSaysIsShownEscaped) {
  wire::Frame frame;
  frame.mutable_goodbye()->set_reason(wire::Goodbye::REJECTED);
  frame.mutable_goodbye()->set_text("two\nlines\x1b[2J");
  EXPECT_EQ(LineAfter(frame), "The Master at fake:1 does not let this client in: two\\nlines\\x1b[2J\n");
}

TEST_F(GreetingTest, AMasterThatRejectsWithoutAReasonSendsToItsAdministrator) {
  wire::Frame frame;
  frame.mutable_goodbye()->set_reason(wire::Goodbye::REJECTED);
  EXPECT_EQ(LineAfter(frame),
            "The Master at fake:1 does not let this client in: it gives no reason; ask its administrator\n");
}

} // namespace
} // namespace brenic
