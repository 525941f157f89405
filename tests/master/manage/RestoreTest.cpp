// What becomes of a backup that is restored.
#include "manage/BackedUpFolder.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;
using testing::Not;

class RestoreTest : public BackedUpFolder {};

TEST_F(RestoreTest, WithoutKeysIsRestoredButServesOnlyWithAKey) {
  Backup({Data(), File(), false});
  EXPECT_THAT(WhyNot([&] {
                Restore({Other(), File(), {}, {"new.example"}, true, {}});
              }),
              HasSubstr("does not hold the private key of authority 1"));
  EXPECT_TRUE(Restore({Other(), File(), {}, {}, true, {}}).m_Keys.IsNone());
  EXPECT_THAT(WhyNotServed(Other()), HasSubstr("run: brenic-master authority --import"));
}

TEST_F(RestoreTest, IsChecked) {
  Backup({Data(), File()});
  const std::string whole = ReadTextFile(File().c_str());
  const auto why = [&](const std::string& bytes) {
    WriteTextFile(File("bad").c_str(), bytes);
    const std::string reason = WhyNotRestored(File("bad"), Other());
    EXPECT_EQ(access(SqliteStore::File(Other()).c_str(), F_OK), -1);
    EXPECT_THAT(reason, HasSubstr(File("bad").str().str()));
    EXPECT_THAT(reason, Not(HasSubstr("\n")));
    return reason;
  };
  EXPECT_THAT(why(""), HasSubstr("is no backup of a Master"));
  EXPECT_THAT(why(whole.substr(0, 100)), HasSubstr("is damaged"));
  EXPECT_THAT(why(std::string(5000, 'x')), HasSubstr("is no backup of a Master"));
  EXPECT_THAT(why(whole.substr(0, whole.size() - 4096)), HasSubstr("is damaged"));
  EXPECT_THAT(why(whole.substr(0, 50)), HasSubstr("is no backup of a Master"));
  for (size_t page = 1; page != whole.size() / 4096; ++page) {
    std::string bytes = whole;
    bytes.replace(page * 4096, 200, std::string(200, '\xee'));
    EXPECT_THAT(why(bytes), HasSubstr("is damaged")) << page;
  }
  EXPECT_THAT(WhyNotRestored(File("none"), Other()), HasSubstr("There is no file"));
  EXPECT_THAT(WhyNotRestored(m_Folder.Name(), Other()), HasSubstr("is no file"));
}

TEST_F(RestoreTest, OfAnotherProgramOrLayoutIsToldAsThat) {
  Backup({Data(), File()});
  SetIn(File(), "PRAGMA user_version = 99");
  EXPECT_THAT(WhyNotRestored(File(), Other()), HasSubstr("has layout 99, made by a newer brenic-master"));
  SetIn(File(), "PRAGMA user_version = 0");
  EXPECT_THAT(WhyNotRestored(File(), Other()), HasSubstr("is no backup of a Master"));
}

TEST_F(RestoreTest, ACopyOfFilesInUseIsNone) {
  Backup({Data(), File()});
  WriteTextFile((File().str() + "-wal").c_str(), "x");
  EXPECT_THAT(WhyNotRestored(File(), Other()), HasSubstr("that is a copy of files in use"));
}

TEST_F(RestoreTest, IsRestoredIntoAnEmptyFolderOnly) {
  Backup({Data(), File()});
  EXPECT_THAT(WhyNotRestored(File(), Data()), HasSubstr("already holds a Master"));
  EXPECT_THAT(WhyNotRestored(File(), m_Folder.Name()), HasSubstr("is not empty"));
}

TEST_F(RestoreTest, ARestoreThatWasCutOffIsMadeAnew) {
  Backup({Data(), File()});
  Restore({Other(), File(), {}, {}, true, {}});
  // As it is just before the end.
  ASSERT_EQ(mkdir((Other() / "master.db.new").c_str(), 0700), 0);
  ASSERT_EQ(rename((Other() / "master.db").c_str(), (Other() / "master.db.new/master.db").c_str()), 0);
  AppendRevocations(RevokedFile(Other()), {{0, "01", "somebody"}});
  EXPECT_THAT(WhyNotRestored(File("none"), Other()), HasSubstr("There is no file"));
  EXPECT_EQ(WhyNotRestored(File(), Other()), "");
  EXPECT_EQ(access(RevokedFile(Other()).c_str(), F_OK), -1);
  EXPECT_EQ(access((Other() / "master.db.new").c_str(), F_OK), -1);
}

TEST_F(RestoreTest, AnEarlierAttemptToRestoreDoesNotServe) {
  Backup({Data(), File()});
  const Restored restored = Restore({Other(), File(), {}, {}, false, {}});
  EXPECT_FALSE(restored.m_IsAccepted);
  ASSERT_EQ(restored.m_Valid.size(), 1u);
  EXPECT_EQ(restored.m_Valid[0].m_Name, "admin");
  EXPECT_EQ(restored.m_Valid[0].m_Role, "administrator");
  EXPECT_THAT(WhyNotServed(Other()),
              HasSubstr("run: brenic-master restore --accept --data-dir " + Other().str().str()));
  EXPECT_TRUE(AcceptRestored(Other(), {}).m_IsAccepted);
  EXPECT_EQ(WhyNotServed(Other()), "");
  EXPECT_THAT(WhyNot([&] { AcceptRestored(Other(), {}); }), HasSubstr("does not wait to be accepted"));
}

TEST_F(RestoreTest, OfOneThatWaitsToBeAcceptedWaitsAsWell) {
  Backup({Data(), File()});
  Restore({Other(), File(), {}, {}, false, {}});
  Backup({Other(), File("second")});
  Restore({m_Folder / "third", File("second"), {}, {}, false, {}});
  EXPECT_NE(WhyNotServed(m_Folder / "third"), "");
}

TEST_F(RestoreTest, WhatWasRevokedSinceStaysRevoked) {
  const auto add = [&](const char* serial, const char* name) {
    SqliteStore(Data(), Database::Mode::k_ReadWrite).AddClient({serial, name, Role::k_Component});
  };
  add("aa", "node");
  add("bb", "lost laptop");
  Backup({Data(), File()});
  AppendRevocations(RevokedFile(Data()),
                    {{1767225600123, "bb", "lost laptop"}, {1767225600124, "cc", "later"}});

  const Restored restored = Restore({Other(), File(), {}, {}, false, RevokedFile(Data())});
  EXPECT_TRUE(restored.m_IsAccepted);
  ASSERT_EQ(restored.m_Valid.size(), 2u);
  EXPECT_EQ(restored.m_Valid[1].m_Name, "node");
  EXPECT_EQ(ReadTextFile(RevokedFile(Other()).c_str()), ReadTextFile(RevokedFile(Data()).c_str()));

  Restore({m_Folder / "third", File(), {}, {}, false, {}});
  EXPECT_EQ(AcceptRestored(m_Folder / "third", RevokedFile(Data())).m_Valid.size(), 2u);
  EXPECT_EQ(WhyNotServed(m_Folder / "third"), "");
}

TEST_F(RestoreTest, TheListForTheNextRestoreHoldsWhatTheBackupKnowsToBeRevoked) {
  for (const char* serial : {"aa", "bb", "cc"})
    SqliteStore(Data(), Database::Mode::k_ReadWrite).AddClient({serial, "node", Role::k_Component});
  Backup({Data(), File("old")});
  SetIn(SqliteStore::File(Data()), "UPDATE client SET revoked = 1767225600123 WHERE serial = 'aa'");
  Backup({Data(), File()});
  constexpr char k_Line[] = "2026-01-01T00:00:00.123Z aa node\n";
  for (const bool isAccepted : {true, false}) {
    const Path folder = m_Folder / (isAccepted ? "accepted" : "waiting");
    Restore({folder, File(), {}, {}, isAccepted, {}});
    EXPECT_EQ(ReadTextFile(RevokedFile(folder).c_str()), k_Line);
  }
  // Of one that waits the file is taken away meanwhile.
  unlink(RevokedFile(m_Folder / "waiting").c_str());
  AcceptRestored(m_Folder / "waiting", {});
  EXPECT_EQ(ReadTextFile(RevokedFile(m_Folder / "waiting").c_str()), k_Line);

  WriteTextFile(File("list").c_str(), "2026-01-01T00:00:00.124Z bb node\n");
  Restore({m_Folder / "both", File(), {}, {}, false, File("list")});
  EXPECT_EQ(ReadTextFile(RevokedFile(m_Folder / "both").c_str()),
            std::string("2026-01-01T00:00:00.124Z bb node\n") + k_Line);
  const Restored old = Restore({Other(), File("old"), {}, {}, false, RevokedFile(m_Folder / "both")});
  EXPECT_EQ(old.m_Revoked.m_Newly, 2u);
}

TEST_F(RestoreTest, AListOfWhatWasRevokedThatCannotBeUsedRestoresNothing) {
  Backup({Data(), File()});
  const auto why = [&] {
    return WhyNot([&] { Restore({Other(), File(), {}, {}, false, RevokedFile(Data())}); });
  };
  EXPECT_THAT(why(), HasSubstr("There is no file"));
  WriteTextFile(RevokedFile(Data()).c_str(), "");
  EXPECT_THAT(why(), HasSubstr("holds no revocation; if it is whole, and nothing was revoked, say --accept"));
  WriteTextFile(RevokedFile(Data()).c_str(), "something\n");
  EXPECT_THAT(why(), HasSubstr("Line 1 of"));
  EXPECT_EQ(access(Other().c_str(), F_OK), -1);
}

TEST_F(RestoreTest, BecomesAMasterOfAnotherNameOnAnotherHost) {
  Backup({Data(), File()});
  const Restored restored = Restore({Other(), File(), "Second", {"new.example"}, true, {}});
  EXPECT_EQ(restored.m_Name, "Second");
  const MasterRecord was = Master(Data()), is = Master(Other());
  EXPECT_EQ(is.m_ID, was.m_ID);
  EXPECT_EQ(is.m_Authority.m_Certificate, was.m_Authority.m_Certificate);
  const auto hosts = HostsOf(is.m_Server);
  EXPECT_EQ(hosts.front(), "new.example");
  EXPECT_THAT(hosts, testing::Contains("localhost"));
  EXPECT_THAT(hosts, Not(testing::Contains("old.example")));
  EXPECT_EQ(is.m_Address, "new.example");
  EXPECT_THAT(WhyNot([&] {
                Restore({m_Folder / "x", File(), {}, {"a/b"}, true, {}});
              }),
              HasSubstr("is no host name"));
}

TEST_F(RestoreTest, WhatARestoreMakesDifferentIsARecordOfWhoeverRanIt) {
  SqliteStore(Data(), Database::Mode::k_ReadWrite).AddClient({"bb", "lost", Role::k_Component});
  Backup({Data(), File()});
  Restore({Other(), File(), "Second", {"new.example"}, false, {}});
  const std::string renamed = LastRecord(Other());
  for (const std::string& part : std::vector<std::string>{
           "\"class\":\"RestoreMsg\"", "\"m_Name\":\"Second\"",
           "\"name\":\"" + UserName(geteuid()).str() + "\"", "\"m_Hosts\":[\"new.example\"]",
           "\"m_Accept\":false", "is called 'Second' from now on, no longer 'Farm'; its"})
    EXPECT_THAT(renamed, HasSubstr(part));
  AppendRevocations(RevokedFile(Data()), {{1767225600123, "bb", "lost"}});
  AcceptRestored(Other(), RevokedFile(Data()));
  const std::string accepted = LastRecord(Other());
  EXPECT_THAT(accepted, HasSubstr("\"sequence\":2,"));
  EXPECT_THAT(accepted, HasSubstr("\"m_Revoked\":[\"2026-01-01T00:00:00.123Z bb lost\"]"));
  EXPECT_THAT(accepted, HasSubstr("revoked 1 certificate by the file 'revoked'; accepted: it may serve"));
}

TEST_F(RestoreTest, ThatIsOnlyLookedAtGetsNoRecord) {
  Backup({Data(), File()});
  Restore({Other(), File(), {}, {}, false, {}});
  EXPECT_EQ(LastRecord(Other()), "");
}

TEST_F(RestoreTest, ADotAtTheEndOfAHostIsNotKept) {
  Backup({Data(), File()});
  Restore({Other(), File(), {}, {"new.example."}, true, {}});
  EXPECT_EQ(HostsOf(Master(Other()).m_Server)[0], "new.example");
  EXPECT_EQ(Master(Other()).m_Address, "new.example");
}

TEST_F(RestoreTest, NothingOfAMasterThatWasAcceptedIsMadeDifferent) {
  const auto request = Make<RestoreMsg>([](auto& restore) { restore.m_Name = "Second"; });
  EXPECT_THAT(WhyNot([&] { AskAlone(Data(), *request); }), HasSubstr("This Master was not restored"));
  EXPECT_EQ(Master(Data()).m_Name, "Farm");
}

TEST_F(RestoreTest, OfAnEarlierLayoutIsBroughtToThisOneWhereSomethingIsMadeDifferent) {
  for (int layout = 1; layout != k_Layout; ++layout) {
    const Path backup = File("layout" + std::to_string(layout));
    const auto restored = [&](const char* folder) { return m_Folder / (folder + std::to_string(layout)); };
    std::filesystem::copy_file(LAYOUTS + std::to_string(layout) + "/master.db", backup.str().str());
    const std::string before = ReadTextFile(backup.c_str());
    testing::internal::CaptureStderr();
    EXPECT_EQ(Restore({restored("as it is "), backup, {}, {}, false, {}}).m_BroughtFrom, 0);
    EXPECT_EQ(Restore({restored("moved "), backup, {}, {"new.example"}, true, {}}).m_BroughtFrom, layout);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Database(SqliteStore::File(restored("as it is ")), Database::Mode::k_ReadOnly)
                  .Scalar("PRAGMA user_version"),
              std::to_string(layout));
    EXPECT_THAT(LastRecord(restored("moved ")), HasSubstr("\"class\":\"RestoreMsg\""));
    EXPECT_EQ(std::filesystem::exists(restored("moved ") + "/master.db.layout" + std::to_string(layout)),
              false);
    EXPECT_EQ(ReadTextFile(backup.c_str()), before);
    const std::string why = WhyNotServed(restored("as it is "));
    EXPECT_THAT(why, HasSubstr("Else run: brenic-master restore --accept --data-dir"));
    EXPECT_THAT(why, HasSubstr("which brings its database, of an earlier layout, to the present one; then"));
    EXPECT_THAT(WhyNot([&] { Master(restored("as it is ")); }),
                HasSubstr("'brenic-master restore --accept' or '--revoked FILE' brings it to layout"));
    // Here the way back is there.
    testing::internal::CaptureStderr();
    AcceptRestored(restored("as it is "), {});
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("it is kept in"));
    EXPECT_TRUE(
        std::filesystem::exists(restored("as it is ") + "/master.db.layout" + std::to_string(layout)));
    EXPECT_THAT(LastRecord(restored("as it is ")), HasSubstr("accepted: it may serve"));
  }
}

TEST_F(RestoreTest, OfWhatWasRevokedItIsToldWhatTookEffect) {
  for (const char* serial : {"aa", "bb", "dd"})
    SqliteStore(Data(), Database::Mode::k_ReadWrite).AddClient({serial, "node", Role::k_Component});
  SetIn(SqliteStore::File(Data()), "UPDATE client SET revoked = 1 WHERE serial = 'dd'");
  Backup({Data(), File()});
  AppendRevocations(RevokedFile(Data()),
                    {{1, "aa", "node"}, {2, "cc", "later"}, {3, "dd", "node"}, {4, "aa", "x"}});
  WriteTextFile(File("revoked").c_str(),
                ReadTextFile(RevokedFile(Data()).c_str()) + "2026-01-31T12:00:00.123Z bb no");
  const Restored restored = Restore({Other(), File(), {}, {}, false, File("revoked")});
  EXPECT_EQ(restored.m_Revoked.m_Newly, 1u);
  EXPECT_EQ(restored.m_Revoked.m_Already, 2u);
  EXPECT_EQ(restored.m_Revoked.m_Unknown, 1u);
  EXPECT_THAT(restored.m_Torn,
              HasSubstr("The last line of '" + File("revoked").str().str() + "' is incomplete"));
  EXPECT_THAT(restored.m_Torn,
              HasSubstr("it says that the certificate bb was revoked at 2026-01-31T12:00:00.123Z."));

  WriteTextFile(File("revoked").c_str(), "2026-01-31T12");
  const std::string why = WhyNot([&] { Restore({File("x"), File(), {}, {}, false, File("revoked")}); });
  EXPECT_THAT(why, HasSubstr("holds no revocation. The last line of"));
  EXPECT_THAT(why, HasSubstr("it says no more than '2026-01-31T12'"));
}

} // namespace
} // namespace brenic::master
