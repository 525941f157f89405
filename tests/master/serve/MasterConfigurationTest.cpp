#include "serve/MasterConfiguration.h"

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "rlib/Escape.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string Upper(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

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
  const auto [live, start, names, isEnded] =
      Load("[master]\nDataFolder = data\nListen = 127.0.0.1:1\nSocket = /run/socket\n"
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
  for (const auto& [live, start, names, isEnded] :
       {LoadMasterConfiguration(""), Load(""), Load("[Master]\nRebootCommand =\n")}) {
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

TEST_F(MasterConfigurationTest, WhatIsNotKnownIsAnErrorThatNamesItsLine) {
  const std::string inFile = " of the configuration '" + File() + "': ";
  EXPECT_EQ(WhyNot("[Master]\nDatafolders = x\n"), "Line 2" + inFile + "the unknown name 'Datafolders'");
  EXPECT_EQ(WhyNot("\n[Client]\nSocket = x\n"),
            "Line 2" + inFile + "the unknown section 'Client'; it wants [Master]");
  EXPECT_EQ(WhyNot("Socket = x\n[Master]\n"), "Line 1" + inFile + "it stands above [Master]");
  EXPECT_EQ(WhyNot("[Master]\n\nSocket\nPortFile\n"),
            "Line 3" + inFile + "it is neither section, pair nor comment");
  EXPECT_EQ(WhyNot("[Master]\nLogFileLevel = 7\n"),
            "Line 2" + inFile + "LogFileLevel must be a number from 0 to 6, not '7'");
  EXPECT_EQ(WhyNot("[Master]\nConnectionsPerCertificate = 0\n"),
            "Line 2" + inFile + "ConnectionsPerCertificate must be a number from 1 up, not '0'");
  EXPECT_THAT(WhyNot("[Master]\n\n\nListen = nowhere\n"), testing::StartsWith("Line 4" + inFile));
  for (const char* line :
       {"[Mas\x1bter]", "[Master]\nSoc\x1bket = x", "[Master]\nAuditKeep = \x1b", "[Master]\nListen = \x1b"})
    EXPECT_FALSE(rlib::HoldsControls(WhyNot(line))) << line;
}

TEST_F(MasterConfigurationTest, WhatMayStandOnceIsAnErrorWhereItStandsTwice) {
  for (const String& name : MasterConfigurationNames()) {
    const std::string value = name.str() == "Listen" ? "127.0.0.1:1" : "4";
    const std::string told = WhyNot("[Master]\n" + name.str() + " = " + value + "\n\n[master]\n" +
                                    Upper(name.str()) + " = " + value + "\n");
    EXPECT_EQ(told, name.str() == "Listen" ? "it is taken"
                                           : "Line 5 of the configuration '" + File() + "': " + name.str() +
                                                 " stands in line 2 already");
  }
}

TEST_F(MasterConfigurationTest, WhyAFileCannotBeReadIsTold) {
  const auto why = [](const std::string& file) {
    try {
      LoadMasterConfiguration(file);
      return std::string("it is taken");
    } catch (Exception* error) {
      const std::unique_ptr<Exception> owned(error);
      return error->Message().str();
    }
  };
  EXPECT_EQ(why(m_Folder / "missing"),
            "Cannot read the configuration '" + m_Folder / "missing" + "': No such file or directory");
  EXPECT_THAT(why(m_Folder.Name()), HasSubstr("it is a folder"));
  EXPECT_THAT(why("/dev/null"), HasSubstr("it is not a regular file"));
  EXPECT_THAT(WhyNot(std::string("\xff\xfe[\0M\0", 6)),
              HasSubstr("Cannot read the configuration '" + File()));
  EXPECT_FALSE(rlib::HoldsControls(why(m_Folder / "a\nb")));
}

TEST_F(MasterConfigurationTest, NothingIsLostToAFileThatWasCutOff) {
  const MasterConfiguration none = Load(";AuditKeep = 3\n"), levels = Load("[Master]\nLogFileLevel = 1\n"),
                            years = Load("[Master]\nAuditKeep = 4000\n"),
                            few = Load("[Master]\nAuditKeep = 3\n");
  for (const MasterConfiguration* present : {&levels, &years, &few})
    EXPECT_THAT(CheckSuccession(*present, none).Reason().str(), HasSubstr("no settings any more"));
  EXPECT_EQ(CheckSuccession(years, levels).Reason(),
            "AuditKeep, which is 4000, is missing now, and records would leave the audit trail; if that is "
            "meant, write AuditKeep = 400");
  EXPECT_TRUE(CheckSuccession(years, few)) << "it says so";
  EXPECT_TRUE(CheckSuccession(few, levels)) << "nothing leaves";
  EXPECT_TRUE(CheckSuccession(none, none));
  EXPECT_TRUE(CheckSuccession(none, years));
}

TEST_F(MasterConfigurationTest, ALastLineThatMayBeCutOffIsNotTaken) {
  const MasterConfiguration years = Load("[Master]\nAuditKeep = 400\n");
  EXPECT_EQ(
      CheckSuccession(years, Load("[Master]\nAuditKeep = 4")).Reason(),
      "The file's last line has no end, so it may have been cut off; if it is whole, end it with a newline");
  EXPECT_TRUE(CheckSuccession(years, Load("[Master]\nAuditKeep = 4\n")));
  EXPECT_TRUE(CheckSuccession(years, Load("[Master]\nAuditKeep = 400"))) << "it changes nothing";
  EXPECT_FALSE(CheckSuccession(years, Load("[Master]\nAuditKeep = 400\nShutdownCommand = a")));
}

TEST_F(MasterConfigurationTest, APathWithoutValueIsAnError) {
  for (const char* name : {"DataFolder", "Socket", "PortFile", "LogFolder", "Products"})
    EXPECT_EQ(WhyNot(std::string("[Master]\n") + name + " =\n"),
              "Line 2 of the configuration '" + File() + "': " + name +
                  " has no value; give a path, or take the line away");
  EXPECT_EQ(WhyNot("[Master]\nRebootCommand =\nShutdownCommand =\n"), "it is taken");
}

TEST_F(MasterConfigurationTest, DaysHaveAnUpperBound) {
  for (const char* days : {"1", "36501", "99999999999"})
    EXPECT_THAT(WhyNot(std::string("[Master]\nAuditKeep = ") + days + "\n"),
                testing::EndsWith(std::string(": AuditKeep must be a number of days from 2 to 36500, not '") +
                                  days + "'"));
  EXPECT_EQ(Load("[Master]\nAuditKeep = 36500\n").m_Live.m_AuditKeep, 36500);
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
