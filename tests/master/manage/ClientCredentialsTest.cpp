// The folder of credentials, whatever goes wrong while they are issued.
#include "manage/ClientCredentials.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

Asked Issued() {
  const auto reply = MessageFactory::Create<IssuedClientMsg>();
  reply->m_Certificate = "certificate\n";
  reply->m_Authorities = "authority\n";
  reply->m_Address = "farm.example";
  return {"Issued", reply};
}

/// What it told, and how often the Master was asked for a certificate.
struct Tried {
  std::string m_Told;
  int m_Asked = 0;
};

Tried Try(const std::string& out, const std::function<Asked()>& answer, bool renew = false) {
  Tried tried;
  try {
    tried.m_Told =
        IssueCredentials({"data", "node", "component", out, 0, {}, renew, 14}, [&](const Path&,
                                                                                   const Message&) {
          ++tried.m_Asked;
          return answer();
        }).str();
  } catch (Exception* error) {
    tried.m_Told = error->Message().str();
    delete error;
  }
  return tried;
}

/// As on a full disk: no file can grow beyond so many bytes.
class Room {
public:
  explicit Room(rlim_t bytes) : m_Signal(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &m_Before);
    const rlimit little{bytes, m_Before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &little);
  }
  ~Room() {
    setrlimit(RLIMIT_FSIZE, &m_Before);
    std::signal(SIGXFSZ, m_Signal);
  }

private:
  void (*m_Signal)(int);
  rlimit m_Before{};
};

TEST(IssueCredentials, NoCertificateIsAskedForWhereItCouldNotBeWritten) {
  const TempFolder folder;
  WriteTextFile(folder / "file", "");
  const Tried tried = Try(folder / "file/out", Issued);
  EXPECT_THAT(tried.m_Told,
              HasSubstr("Cannot make the folder '" + folder / "file/out" + "': Not a directory"));
  EXPECT_EQ(tried.m_Asked, 0);
  const Room room(4096);
  EXPECT_THAT(Try(folder / "out", Issued).m_Told, HasSubstr("File too large"));
  EXPECT_EQ(Try(folder / "out", Issued).m_Asked, 0);
  EXPECT_EQ(folder.Count(), 1u);
}

TEST(IssueCredentials, WhatFailsLeavesNothingBehind) {
  const TempFolder folder;
  const auto refused = []() -> Asked { throw new Exception("No"); };
  EXPECT_EQ(Try(folder / "a/b/out", refused).m_Told, "No");
  EXPECT_EQ(folder.Count(), 0u);
  mkdir((folder / "out").c_str(), 0755);
  EXPECT_EQ(Try(folder / "out", refused).m_Told, "No");
  EXPECT_TRUE(std::filesystem::is_empty(folder / "out")) << "a folder that was there stays";
}

TEST(IssueCredentials, TheAdvisedSecondTryMeetsNothingOfTheFirst) {
  const TempFolder folder;
  for (const bool renew : {false, true}) {
    const std::string out = folder / (renew ? "again" : "out");
    std::unique_ptr<Room> room;
    const auto fullMeanwhile = [&] {
      room = std::make_unique<Room>(0);
      return Issued();
    };
    const Tried first = Try(out, fullMeanwhile, renew);
    EXPECT_EQ(first.m_Asked, 1);
    EXPECT_TRUE(first.m_Told.ends_with(renew ? "mend that, then run this again"
                                             : "mend that, then run this again with --renew --overlap 0"))
        << first.m_Told;
    room.reset();
    EXPECT_EQ(Try(out, Issued, true).m_Told, "Issued");
    EXPECT_EQ(ReadTextFile(out + "/client.pem"), "certificate\n");
  }
}

TEST(IssueCredentials, TheFolderIsClosedToOthersHoweverItIsWritten) {
  const TempFolder folder;
  EXPECT_EQ(Try(folder / "above/out/", Issued).m_Told, "Issued");
  struct stat info {};
  ASSERT_EQ(stat((folder / "above/out").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  size_t files = 0;
  for ([[maybe_unused]] const auto& file : std::filesystem::directory_iterator(folder / "above/out"))
    ++files;
  EXPECT_EQ(files, 4u);
}

} // namespace
} // namespace brenic::master
