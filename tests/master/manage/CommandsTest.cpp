// The subcommands that end by themselves.
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "serve/TestFarm.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

mode_t ModeOf(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
}

TEST(Init, MakesAFolderThatIsClosedToOthers) {
  const TempFolder folder;
  const std::string data = folder / "data";
  const Ended ended = RunMaster({"init", "--data-dir", data, "--host", "farm.example", "--port", "9000"});
  EXPECT_EQ(ended.m_Status, 0) << ended.m_Errors;
  EXPECT_EQ(ModeOf(data), 0700u);
  EXPECT_EQ(ModeOf(data + "/clients/admin/client.key"), 0600u);
  EXPECT_EQ(
      ReadTextFile(data + "/clients/admin/brenic.conf"),
      "[Client]\nMaster = farm.example:9000\nCA = ca.pem\nCertificate = client.pem\nKey = client.key\n");
}

TEST(Init, SaysWhenTheMastersNameCannotBeUsed) {
  const TempFolder folder;
  const Ended ended = RunMaster({"init", "--data-dir", folder / "data", "--name", "a\tb"});
  EXPECT_EQ(ended.m_Status, 1);
  EXPECT_THAT(ended.m_Errors, HasSubstr("The Master's name cannot be used"));
  EXPECT_EQ(folder.Count(), 0u);
}

TEST(Init, RefusesAFolderThatHoldsAMaster) {
  const TestFarm farm;
  const std::string database = ReadTextFile(SqliteStore::File(farm.Data()).c_str());
  const Ended ended = RunMaster({"init", "--data-dir", farm.Data()});
  EXPECT_EQ(ended.m_Status, 1);
  EXPECT_EQ(ended.m_Errors, "brenic-master: '" + farm.Data() + "' already holds a Master\n");
  EXPECT_EQ(ReadTextFile(SqliteStore::File(farm.Data()).c_str()), database);
}

TEST(Client, CredentialsAreIssuedOnceIntoAFolder) {
  const TestFarm farm;
  const std::string folder = farm.Issue("node", "component");
  EXPECT_EQ(ModeOf(folder + "/client.key"), 0600u);
  EXPECT_THAT(ReadTextFile(folder + "/brenic.conf"), HasSubstr("Master = 127.0.0.1\n"));
  const Ended again =
      RunMaster({"client", "node", "--role", "component", "--data-dir", farm.Data(), "--out", folder});
  EXPECT_EQ(again.m_Status, 1);
  EXPECT_THAT(again.m_Errors, HasSubstr("is not empty"));
}

TEST(Client, CredentialsAreNotWrittenWhereAFileOrLinkIsAlready) {
  const TestFarm farm;
  const TempFolder folder;
  ASSERT_EQ(symlink((folder / "elsewhere").c_str(), (folder / "client.key").c_str()), 0);
  ASSERT_EQ(symlink(farm.Data().c_str(), farm.File("link").c_str()), 0);
  for (const std::string& out : {folder.Name(), farm.File("link")}) {
    const Ended ended =
        RunMaster({"client", "node", "--role", "component", "--data-dir", farm.Data(), "--out", out});
    EXPECT_EQ(ended.m_Status, 1) << out;
  }
  EXPECT_EQ(folder.Count(), 1u);
}

TEST(Commands, WriteNoAddressThatClientsRefuse) {
  const TempFolder folder;
  const TestFarm farm;
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"init", "--data-dir", folder / "data", "--host", "a/b"},
                                             {"client", "x", "--role", "component", "--data-dir", farm.Data(),
                                              "--out", folder / "x", "--master", "a/b"}}) {
    const Ended ended = RunMaster(arguments);
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_THAT(ended.m_Errors, HasSubstr("Clients cannot be told the address 'a/b"));
  }
  EXPECT_EQ(folder.Count(), 0u);
}

TEST(Commands, SayThatAFolderHoldsNoMaster) {
  const TempFolder folder;
  for (const char* command : {"state", "audit"}) {
    const Ended ended = RunMaster({command, "--data-dir", folder.Name()});
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_THAT(ended.m_Errors, HasSubstr("run: brenic-master init"));
  }
}

TEST(Commands, DoNotTakeAFolderThatCannotBeSeenForAnEmptyOne) {
  const TempFolder folder;
  WriteTextFile(folder / "file", "");
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"state"},
                                             {"audit"},
                                             {"serve"},
                                             {"serve", "--init"},
                                             {"init"},
                                             {"client", "x", "--role", "component", "--out", folder / "x"}}) {
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--data-dir", folder / "file" + "/data"});
    const Ended ended = RunMaster(arguments);
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_THAT(ended.m_Errors, HasSubstr("/file/data/master.db': Not a directory"));
  }
}

TEST(Commands, SayThatAFolderMayNotBeEntered) {
  const TempFolder folder;
  ASSERT_EQ(chmod(folder.Name().c_str(), 0), 0);
  const uid_t user = geteuid();
  if (user == 0) {
    ASSERT_EQ(seteuid(65534), 0);
  }
  try {
    RequireInitialised(folder.Name());
    ADD_FAILURE() << "it may";
  } catch (Exception* error) {
    EXPECT_THAT(error->Message().str(),
                HasSubstr("run this as the Master's user or as root: Permission denied"));
    delete error;
  }
  ASSERT_EQ(seteuid(user), 0);
}

TEST(Serve, ReportsAConfigurationThatItDoesNotUnderstand) {
  const TestFarm farm("RebotCommand = x\n");
  const Ended ended = RunMaster(
      {"serve", "--data-dir", farm.Data(), "--listen", "127.0.0.1:0", "--config", farm.File("master.conf")});
  EXPECT_EQ(ended.m_Status, 1);
  EXPECT_EQ(ended.m_Errors, "brenic-master: Line 2 of the configuration '" + farm.File("master.conf") +
                                "': the unknown name 'RebotCommand'\n");
}

TEST(Serve, ReportsLinesOfTheConfigurationThatItSkips) {
  const TestFarm farm;
  for (const char* text :
       {"[Master]\nRebootCommand reboot\n", "[Mater]\nRebootCommand = x\n", "RebootCommand = x\n"}) {
    WriteTextFile(farm.File("bad.conf"), text);
    const Ended ended = RunMaster(
        {"serve", "--data-dir", farm.Data(), "--listen", "nowhere", "--config", farm.File("bad.conf")});
    EXPECT_EQ(ended.m_Status, 1);
    EXPECT_THAT(ended.m_Errors, HasSubstr(" of the configuration '" + farm.File("bad.conf") + "': ")) << text;
  }
}

TEST(Serve, RemovesAPortFileThatWasLeftBehindAtOnce) {
  const TestFarm farm;
  WriteTextFile(farm.File("port"), "1234\n");
  RunMaster({"serve", "--data-dir", farm.Data(), "--listen", "nowhere", "--port-file", farm.File("port")});
  EXPECT_EQ(access(farm.File("port").c_str(), F_OK), -1);
}

TEST(Serve, RemovesAPortFileThatWasLeftBehindAlsoWhereNoMasterCanBeMade) {
  const TestFarm farm;
  WriteTextFile(farm.File("port"), "1234\n");
  WriteTextFile(farm.File("taken"), "not a folder\n");
  EXPECT_EQ(RunMaster({"serve", "--data-dir", farm.File("taken"), "--port-file", farm.File("port")}).m_Status,
            1);
  EXPECT_EQ(access(farm.File("port").c_str(), F_OK), -1);
}

TEST(Serve, ReportsAnAddressThatItCannotListenOn) {
  const TestFarm farm;
  for (const char* address : {"nowhere", "127.0.0.1:x", "host:1", "192.0.2.1:0"}) {
    const Ended ended = RunMaster({"serve", "--data-dir", farm.Data(), "--listen", address});
    EXPECT_EQ(ended.m_Status, 1) << address;
    EXPECT_THAT(ended.m_Errors, HasSubstr("isten")) << address;
  }
}

TEST(Usage, WhatItQuotesOfTheLineDoesNothingToATerminal) {
  const std::string wild = "\x1b[2J\n\u009b\u202e";
  for (const Ended& ended :
       {RunMaster({"state", "--data-dir", wild}), RunMaster({"state", "--data-dir", "x", wild}),
        RunMaster({"audit", "--data-dir", "x", "--since", "1970-01-01", "--" + wild})}) {
    EXPECT_THAT(ended.m_Errors, HasSubstr("\\x1b[2J\\n\\xc2\\x9b\\xe2\\x80\\xae"));
    EXPECT_THAT(ended.m_Errors,
                testing::Not(testing::AnyOf(HasSubstr("\x1b"), HasSubstr("\u009b"), HasSubstr("\u202e"))));
  }
}

TEST(Usage, HasAnExitStatusOfItsOwn) {
  EXPECT_GT(RunMaster({}).m_Status, 1);
  EXPECT_GT(RunMaster({"state"}).m_Status, 1);
  EXPECT_GT(RunMaster({"state", "--data-dir", "x", "--json", "--ini"}).m_Status, 1);
}

} // namespace
} // namespace brenic::master
