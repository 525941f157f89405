// The subcommands that end by themselves.
#include <algorithm>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

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

/// A line that is refused for its arguments, and what it tells.
struct WrongLine {
  std::vector<std::string> m_Arguments;
  std::string m_Told;
};

TEST(Usage, WhatIsWrongIsOneLineThatNamesTheOption) {
  const std::vector<WrongLine> lines = {
      {{"history", "--limit", "x"},
       "--limit: 'x' is no whole number from 1 to 1000000; see brenic-master history"},
      {{"history", "--limit", "0"}, "--limit: '0' is no whole number from 1 to 1000000; see"},
      {{"history", "--limit", "1000001"}, "--limit: '1000001' is no whole number"},
      {{"history", "--limit", "18446744073709551617"}, "--limit: '18446744073709551617' is no whole number"},
      {{"client", "a", "--out", "x", "--days", "3654"}, "--days: '3654' is no whole number from 1 to 3653"},
      {{"client", "a", "--out", "x", "--days", "0x10"}, "--days: '0x10' is no whole number from 1 to 3653"},
      {{"client", "a", "--out", "x", "--renew", "--overlap", "-1"},
       "--overlap: '-1' is no whole number from 0"},
      {{"client", "a", "--out", "x", "--overlap", "3"}, "--overlap requires --renew"},
      {{"client", "a", "--out", "x", "--role", "b"}, "--role: b not in {administrator,component}"},
      {{"init", "--port", "65536"}, "--port: '65536' is no whole number from 1 to 65535"},
      {{"revert", "99999999999999999999"}, "sequence: '99999999999999999999' is no whole number from 1 to"},
      {{"revert", "1", "x"}, "sequence: 'x' is no whole number"},
      {{"state", "--json", "--ini"}, "--json excludes --ini; see brenic-master state --help"},
      {{"product", "check"}, "file is required; see brenic-master product check --help"},
      {{}, "A subcommand is required; see brenic-master --help"}};
  for (const WrongLine& line : lines) {
    std::vector<std::string> arguments = line.m_Arguments;
    if (!arguments.empty() && arguments[0] != "product")
      arguments.insert(arguments.end(), {"--data-dir", "missing"});
    const Ended ended = RunMaster(arguments);
    EXPECT_GT(ended.m_Status, 1) << line.m_Told;
    EXPECT_EQ(ended.m_Output, "");
    EXPECT_TRUE(ended.m_Errors.starts_with("brenic-master: " + line.m_Told)) << ended.m_Errors;
    EXPECT_EQ(std::count(ended.m_Errors.begin(), ended.m_Errors.end(), '\n'), 1) << ended.m_Errors;
  }
}

TEST(Usage, AnEmptyValueIsNotTakenForNone) {
  const TempFolder folder;
  const std::vector<std::vector<std::string>> commands = {
      {"init", "--data-dir", "--name", "--host", "--port"},
      {"serve", "--data-dir", "--listen", "--port-file", "--socket", "--config", "--products"},
      {"backup x", "--data-dir"},
      {"restore x", "--data-dir", "--name", "--host", "--revoked"},
      {"check", "--data-dir"},
      {"client x", "--data-dir", "--role", "--out", "--master", "--days", "--overlap"},
      {"clients", "--data-dir"},
      {"revoke x", "--data-dir"},
      {"hosts", "--data-dir", "--add", "--remove"},
      {"authority", "--data-dir", "--export", "--import"},
      {"history", "--data-dir", "--who", "--since", "--option", "--user", "--root", "--product", "--limit"},
      {"revert 1", "--data-dir"},
      {"plan x", "--data-dir"},
      {"lint", "--data-dir"},
      {"state", "--data-dir"},
      {"audit", "--data-dir", "--since"},
      {"restore", "FILE"},
      {"check", "FILE"}};
  for (const auto& command : commands) {
    std::istringstream words(command[0]);
    const std::vector<std::string> begin{std::istream_iterator<std::string>(words), {}};
    for (size_t i = 1; i != command.size(); ++i) {
      const std::string& option = command[i];
      const bool isNamed = option.starts_with("--");
      for (const bool isJoined : {false, true}) {
        std::vector<std::string> arguments = begin;
        if (option != "--data-dir")
          arguments.insert(arguments.end(), {"--data-dir", folder / "missing"});
        if (isNamed)
          arguments.push_back(option + (isJoined ? "=" : ""));
        if (!isNamed || !isJoined)
          arguments.emplace_back();
        const Ended ended = RunMaster(arguments);
        EXPECT_GT(ended.m_Status, 1) << option;
        EXPECT_TRUE(ended.m_Errors.starts_with("brenic-master: " + option + ": its value is empty; see"))
            << command[0] << ": " << ended.m_Errors;
      }
    }
  }
  EXPECT_EQ(folder.Count(), 0u);
}

TEST(Usage, HasAnExitStatusOfItsOwn) {
  EXPECT_GT(RunMaster({}).m_Status, 1);
  EXPECT_GT(RunMaster({"state"}).m_Status, 1);
  EXPECT_GT(RunMaster({"state", "--data-dir", "x", "--json", "--ini"}).m_Status, 1);
}

} // namespace
} // namespace brenic::master
