#include "serve/MasterConfiguration.h"

#include <gmock/gmock.h>

#include "TempFolder.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class MasterConfigurationTest : public testing::Test {
protected:
  MasterConfiguration Load(const std::string& text) {
    WriteTextFile(File(), text);
    return LoadMasterConfiguration(File());
  }
  std::string WhyNot(const std::string& text) {
    try {
      Load(text);
      return "it is taken";
    } catch (Exception* error) {
      const std::string reason = error->Message().str();
      delete error;
      return reason;
    }
  }
  std::string File() const { return m_Folder / "master.conf"; }

  TempFolder m_Folder;
};

TEST_F(MasterConfigurationTest, HoldsEverythingThatIsNotSaidOtherwise) {
  const auto [live, start] = Load("[master]\nDataFolder = data\nListen = 127.0.0.1:1\nSocket = /run/socket\n"
                                  "PortFile = port\nLogFolder = log\nLogFileLevel = 1\nlogdisplaylevel = 2\n"
                                  "Products = products\nRebootCommand = \"a  b\"\nShutdownCommand = c\n"
                                  "ConnectionsPerCertificate = 7\n");
  EXPECT_EQ(start.m_DataFolder, Path(m_Folder / "data"));
  EXPECT_THAT(start.m_Listen, ElementsAre("127.0.0.1:1"));
  EXPECT_EQ(start.m_Socket, Path("/run/socket"));
  EXPECT_EQ(start.m_PortFile, Path(m_Folder / "port"));
  EXPECT_EQ(start.m_LogFolder, Path(m_Folder / "log"));
  EXPECT_EQ(live.m_LogFileLevel, 1);
  EXPECT_EQ(live.m_LogDisplayLevel, 2);
  EXPECT_EQ(live.m_Products, Path(m_Folder / "products"));
  EXPECT_EQ(live.m_Commands.m_Reboot, "a  b");
  EXPECT_EQ(live.m_Commands.m_Shutdown, "c");
  EXPECT_EQ(live.m_ConnectionsPerCertificate, 7u);
}

TEST_F(MasterConfigurationTest, WhatIsNotSaidIsAsByDefault) {
  for (const auto& [live, start] : {LoadMasterConfiguration(""), Load(""), Load("[Master]\nSocket =\n")}) {
    EXPECT_EQ(Differences(start, {}), "");
    EXPECT_EQ(live.m_LogFileLevel, rlib::Log::k_DefaultFileLevel);
    EXPECT_EQ(live.m_LogDisplayLevel, rlib::Log::k_DefaultDisplayLevel);
    EXPECT_TRUE(live.m_Products.empty());
    EXPECT_EQ(live.m_Commands.m_Reboot, "");
    EXPECT_EQ(live.m_ConnectionsPerCertificate, 0u);
  }
}

TEST_F(MasterConfigurationTest, SeveralAddressesAreSeparatedByCommasOrLines) {
  EXPECT_THAT(Load("[Master]\nListen = 10.0.0.1:1,\t[::1]:2\nListen = 10.0.0.2:0\n").m_Start.m_Listen,
              ElementsAre("10.0.0.1:1", "[::1]:2", "10.0.0.2:0"));
  for (const char* wrong : {"", "10.0.0.1:1,", ", 10.0.0.1:1", "10.0.0.1", "host:1", "10.0.0.1:65536"})
    EXPECT_THAT(WhyNot(std::string("[Master]\nListen = ") + wrong), HasSubstr("What to listen on")) << wrong;
}

TEST_F(MasterConfigurationTest, WhatIsNotKnownIsAnError) {
  EXPECT_EQ(WhyNot("[Master]\nDatafolders = x\n"), "The configuration has the unknown name 'Datafolders'");
  EXPECT_EQ(WhyNot("[Client]\nSocket = x\n"),
            "The configuration has the unknown section 'Client'; it wants [Master]");
  EXPECT_EQ(WhyNot("[Master]\nSocket\n"),
            "The configuration '" + File() + "' has 1 line(s) that cannot be read");
  EXPECT_EQ(WhyNot("[Master]\nLogFileLevel = 7\n"),
            "The configuration's LogFileLevel must be a number from 0 to 6");
  EXPECT_EQ(WhyNot("[Master]\nConnectionsPerCertificate = 0\n"),
            "The configuration's ConnectionsPerCertificate must be a number from 1 up");
}

TEST_F(MasterConfigurationTest, DifferencesAreNamed) {
  const StartSettings none, all{"a", {"127.0.0.1:1"}, "b", "c", "d"};
  EXPECT_EQ(Differences(all, all), "");
  EXPECT_EQ(Differences(none, all), "DataFolder, Listen, Socket, PortFile, LogFolder");
}

TEST_F(MasterConfigurationTest, TheSampleHoldsEveryNameAsAComment) {
  const std::string sample = ReadTextFile(SAMPLE_CONFIGURATION);
  std::string taken = sample;
  for (const String& name : MasterConfigurationNames()) {
    const std::string comment = "\n;" + name.str() + " = ";
    const size_t found = taken.find(comment);
    ASSERT_NE(found, std::string::npos) << name.str();
    taken.erase(found + 1, 1);
  }
  EXPECT_EQ(WhyNot(sample), "it is taken");
  EXPECT_EQ(WhyNot(taken), "it is taken");
  EXPECT_EQ(Differences(LoadMasterConfiguration(SAMPLE_CONFIGURATION).m_Start, {}), "");
}

} // namespace
} // namespace brenic::master
