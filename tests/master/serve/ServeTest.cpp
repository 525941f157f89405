// What a Master does when it starts, before it serves.
#include <csignal>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "brenic/MessageFactory.h"
#include "brenic/SystemMessages.h"
#include "manage/Certificates.h"
#include "serve/Listener.h"
#include "serve/TestFarm.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

TEST(Serve, RenewsACertificateThatIsNearItsEnd) {
  TestFarm farm;
  MasterRecord before;
  {
    SqliteStore store(farm.Data(), Database::Mode::k_ReadWrite);
    before = store.LoadMaster();
    before.m_Server =
        IssueServer(before.m_Authority, "Farm", {"farm.example", "127.0.0.1"}, Validity::Days(30))
            .m_Credential;
    store.ReplaceServerCredential(before.m_Server, 1);
  }
  farm.Serve();
  EXPECT_EQ(farm.ConnectTls(farm.Data() + "/clients/admin").Greet().size(), 4u);
  farm.Signal(SIGTERM);
  EXPECT_EQ(farm.Wait(), 0);
  const MasterRecord after = SqliteStore(farm.Data(), Database::Mode::k_ReadWrite).LoadMaster();
  EXPECT_EQ(after.m_Authority.m_Certificate, before.m_Authority.m_Certificate);
  EXPECT_GT(ValidityOf(after.m_Server.m_Certificate).m_End, Validity::Days(700).m_End);
  EXPECT_EQ(HostsOf(after.m_Server), (std::vector<std::string>{"farm.example", "127.0.0.1"}));
  const auto records = farm.Audit();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0]["client"]["name"], "brenic-master");
  EXPECT_EQ(records[0]["message"]["class"], "RenewMasterMsg");
  EXPECT_THAT(records[0]["reason"], HasSubstr("Renewed the Master's certificate"));
}

TEST(Serve, KeepsACertificateThatIsNot) {
  TestFarm farm;
  const auto certificate = [&] {
    return SqliteStore(farm.Data(), Database::Mode::k_ReadWrite).LoadMaster().m_Server.m_Certificate;
  };
  const std::string before = certificate();
  farm.Serve();
  farm.Signal(SIGTERM);
  EXPECT_EQ(farm.Wait(), 0);
  EXPECT_EQ(certificate(), before);
}

TEST(Serve, CompletesTheListOfWhatIsRevoked) {
  TestFarm farm;
  const std::string file = farm.Data() + "/revoked";
  SqliteStore(farm.Data(), Database::Mode::k_ReadWrite)
      .AddClient({"ab", "node", Role::k_Component, 1, 1, 2, 1767225600123, {}});
  farm.Serve();
  EXPECT_EQ(ReadTextFile(file.c_str()), "2026-01-01T00:00:00.123Z ab node\n");
  farm.Signal(SIGTERM);
  EXPECT_EQ(farm.Wait(), 0);
  // One that cannot be used keeps nobody from working.
  WriteTextFile(file.c_str(), "junk\n");
  farm.Serve();
  EXPECT_EQ(ReadTextFile(file.c_str()), "junk\n");
  farm.Signal(SIGTERM);
  EXPECT_EQ(farm.Wait(), 0);
}

TEST(Serve, DoesNotMakeAnotherMasterWhereTheDatabaseIsLost) {
  const TestFarm farm;
  ASSERT_EQ(unlink((farm.Data() + "/master.db").c_str()), 0);
  const Ended ended = RunMaster({"serve", "--data-dir", farm.Data(), "--listen", "127.0.0.1:0"});
  EXPECT_EQ(ended.m_Status, 1);
  EXPECT_THAT(ended.m_Errors, HasSubstr("holds no Master"));
  const Ended made = RunMaster({"serve", "--init", "--data-dir", farm.Data(), "--listen", "127.0.0.1:0"});
  EXPECT_EQ(made.m_Status, 1);
  EXPECT_THAT(made.m_Errors, HasSubstr("no master.db"));
}

TEST(Serve, MakesAMasterOnlyWhenToldSo) {
  const TempFolder folder;
  for (const std::string& data : {folder / "mistyped", folder.Name()}) {
    const Ended ended = RunMaster({"serve", "--data-dir", data, "--listen", "127.0.0.1:0"});
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_THAT(ended.m_Errors, HasSubstr("run: brenic-master init --data-dir " + data));
    EXPECT_EQ(folder.Count(), 0u);
  }
  for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
           {"--config", folder / "missing.conf"}, {"--listen", "127.0.0.1:99999"}}) {
    std::vector<std::string> arguments{"serve", "--init", "--data-dir", folder / "new"};
    arguments.insert(arguments.end(), wrong.begin(), wrong.end());
    EXPECT_EQ(RunMaster(arguments).m_Status, 1);
    EXPECT_EQ(folder.Count(), 0u) << wrong[1];
  }
  // It makes one, and then finds nowhere to listen.
  const Ended made = RunMaster({"serve", "--init", "--data-dir", folder / "new", "--listen", "192.0.2.1:0"});
  EXPECT_THAT(made.m_Errors, HasSubstr("Cannot listen on 192.0.2.1:0"));
  EXPECT_TRUE(IsInitialised(folder / "new"));
}

TEST(Serve, RefusesWhatIsOpenToOthersWithTheCommandThatClosesIt) {
  TestFarm farm;
  const auto refusal = [&] {
    return RunMaster({"serve", "--data-dir", farm.Data(), "--listen", "127.0.0.1:0"}).m_Errors;
  };
  ASSERT_EQ(chmod(farm.Data().c_str(), 0750), 0);
  const std::string database = farm.Data() + "/master.db";
  ASSERT_EQ(chmod(database.c_str(), 0704), 0);
  WriteTextFile(database + "-shm", "");
  ASSERT_EQ(chmod((database + "-shm").c_str(), 0640), 0);
  EXPECT_THAT(refusal(), HasSubstr("where private keys are; run: chmod 0700 " + farm.Data() +
                                   " && chmod 0600 " + database + " " + database + "-shm\n"));
  ASSERT_EQ(chmod(farm.Data().c_str(), 0700), 0);
  ASSERT_EQ(chmod(database.c_str(), 0700), 0);
  unlink((database + "-shm").c_str());
  farm.Serve();
}

TEST(Serve, DoesWithoutNewDefaultProductsWhenItsDatabaseCannotTakeThem) {
  TestFarm farm;
  Database other(SqliteStore::File(farm.Data()), Database::Mode::k_ReadWrite);
  other.Execute("BEGIN IMMEDIATE");
  farm.Serve(); // once it has waited for the database
  EXPECT_EQ(farm.State()["products"].size(), 0u);
  EXPECT_THAT(ReadTextFile(farm.Data() + "/log/brenic-master.log"),
              HasSubstr("The default products stay as they were"));
}

TEST(Serve, ListensOnAllAddressesOfWhatTheMachineKnows) {
  EXPECT_EQ(DefaultListen(true), "[::]:8730");
  EXPECT_EQ(DefaultListen(false), "0.0.0.0:8730");
}

TEST(LogDump, ThatFailsIsNotLoggedAsWritten) {
  TestFarm farm;
  farm.Serve();
  TestClient client = farm.Join();
  const std::string log = farm.Data() + "/log";
  std::filesystem::rename(log, farm.Data() + "/moved"); // the open log file goes along
  WriteTextFile(log, "a file where the folder was");
  EXPECT_EQ(client.Ask(*MessageFactory::Create<LogDumpMsg>()).outcome(), wire::Answer::COMMITTED);
  farm.Signal(SIGTERM);
  EXPECT_EQ(farm.Wait(), 0);
  const std::string lines = ReadTextFile(farm.Data() + "/moved/brenic-master.log");
  EXPECT_THAT(lines, HasSubstr("Cannot dump the log"));
  EXPECT_THAT(lines, testing::Not(HasSubstr("Wrote the log dump")));
}

} // namespace
} // namespace brenic::master
