// The file that tells a restored Master what was revoked.
#include "store/RevokedFile.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "TempFolder.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

const std::vector<Revocation> k_Two{{1767225600123, "0a1b", "node 1"}, {1767225601000, "ff", "Größe"}};
constexpr char k_TwoLines[] = "2026-01-01T00:00:00.123Z 0a1b node 1\n2026-01-01T00:00:01.000Z ff Größe\n";

class Revoked : public testing::Test {
protected:
  std::vector<Revocation> Read() {
    const auto read = ReadRevoked(File());
    EXPECT_TRUE(read) << read.Reason().str();
    return read && *read ? (*read)->m_Revocations : std::vector<Revocation>();
  }
  std::string WhyNotRead() {
    const auto read = ReadRevoked(File());
    return read ? "" : read.Reason().str();
  }
  std::string WhyNotWritten(const Revocation& revocation) {
    try {
      AppendRevocations(File(), {revocation});
    } catch (Exception* error) {
      const std::string why = error->Message().str();
      delete error;
      return why;
    }
    return "";
  }
  Path File() const { return RevokedFile(m_Folder.Name()); }
  void Write(const std::string& text) { WriteTextFile(File().c_str(), text); }

  const TempFolder m_Folder;
};

TEST_F(Revoked, IsALineForEachCertificateInAFileClosedToOthers) {
  AppendRevocations(File(), {k_Two[0]});
  AppendRevocations(File(), {k_Two[1]});
  EXPECT_EQ(ReadTextFile(File().c_str()), k_TwoLines);
  EXPECT_EQ(Read(), k_Two);
  struct stat info {};
  ASSERT_EQ(stat(File().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(Revoked, AbsentAndUnreadableAreNotTheSame) {
  const auto absent = ReadRevoked(File());
  ASSERT_TRUE(absent);
  EXPECT_FALSE(*absent);
  Write("");
  EXPECT_TRUE(*ReadRevoked(File()));
  EXPECT_FALSE(ReadRevoked(m_Folder.Name()));
  EXPECT_FALSE(ReadRevoked(File() / "x"));
}

TEST_F(Revoked, LastLineThatWasCutOffIsLeftOutAndTakenAway) {
  Write(k_TwoLines + std::string("2026-01-01T00:00:02.000Z 12 nod"));
  EXPECT_EQ(Read(), k_Two);
  EXPECT_EQ(
      TornWords(File(), **ReadRevoked(File())),
      "The last line of '" + File().str().str() +
          "' is incomplete and was left out; it says that the certificate 12 was revoked at "
          "2026-01-01T00:00:02.000Z. Take the whole file if this is a copy; else it was being written when "
          "the machine stopped, and was not committed");
  AppendRevocations(File(), {{1767225603000, "13", "other"}});
  EXPECT_EQ(ReadTextFile(File().c_str()), k_TwoLines + std::string("2026-01-01T00:00:03.000Z 13 other\n"));
  EXPECT_EQ(TornWords(File(), **ReadRevoked(File())), "");
}

TEST_F(Revoked, LineThatIsNotOneMakesAllOfItUnusable) {
  for (const char* line : {"", "x", "2026-01-01T00:00:00.123Z", "2026-01-01T00:00:00.123Z 0a1b",
                           "2026-01-01T00:00:00.123Z 0a1b ", "2026-01-01T00:00:00.123Z 0A1B node",
                           "2026-01-01T00:00:00.123Z  node", "2026-01-01T00:00:00Z 0a1b node",
                           "2026-13-01T00:00:00.123Z 0a1b node", "2026-02-30T00:00:00.123Z 0a1b node",
                           "2026-01-01T00:00:00.x23Z 0a1b node", "2026-01-01T00:00:00.123Z 0a1b no\tde",
                           "2026-01-01T00:00:00.123Z 0a1b no\xff"
                           "de"}) {
    Write(std::string(k_TwoLines) + line + "\n");
    EXPECT_THAT(WhyNotRead(), HasSubstr("Line 3 of '" + File().str().str() + "'")) << line;
  }
}

TEST_F(Revoked, IsTheMastersWhoeverMakesIt) {
  if (geteuid() != 0)
    GTEST_SKIP() << "only root makes files of others";
  constexpr uid_t k_Master = 65534;
  ASSERT_EQ(chown(m_Folder.Name().c_str(), k_Master, k_Master), 0);
  struct stat info {};
  AppendRevocations(File(), {k_Two[0]});
  ASSERT_EQ(stat(File().c_str(), &info), 0);
  EXPECT_EQ(info.st_uid, k_Master);
  ASSERT_EQ(chown(File().c_str(), 0, 0), 0); // as an earlier version left it
  AppendRevocations(File(), {k_Two[1]});
  ASSERT_EQ(stat(File().c_str(), &info), 0);
  EXPECT_EQ(info.st_uid, k_Master);
}

TEST_F(Revoked, WhatWouldNotBeReadBackIsNotWritten) {
  AppendRevocations(File(), k_Two);
  for (const Revocation& revocation : std::vector<Revocation>{
           {0, "0a1b", ""}, {0, "", "node"}, {0, "0A", "node"}, {0, "0a", "no\nde"}, {-1, "x", "node"}})
    EXPECT_THAT(WhyNotWritten(revocation), HasSubstr("cannot be written as a line"));
  EXPECT_EQ(ReadTextFile(File().c_str()), k_TwoLines);
}

} // namespace
} // namespace brenic::master
