#include "client/Target.h"

#include <gmock/gmock.h>

#include "TempFolder.h"

namespace brenic {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class TargetTest : public testing::Test {
protected:
  TargetTest() {
    for (const char* name : {"BRENIC_CONFIG", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "HOME"}) {
      const char* value = std::getenv(name);
      m_Before.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
      unsetenv(name);
    }
    setenv("HOME", m_Folder.Name().c_str(), 1);
  }
  ~TargetTest() override {
    for (const auto& [name, value] : m_Before) {
      if (value)
        setenv(name, value->c_str(), 1);
      else
        unsetenv(name);
    }
  }

  /// Why no Master is chosen; empty when one is, which is `m_Target` then.
  String Choose(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "tester");
    const rlib::Result<Target> chosen =
        Target::Choose(CommandLine(static_cast<int>(arguments.size()), arguments.data()));
    m_Target = chosen ? *chosen : Target{};
    return chosen ? k_Empty : chosen.Reason();
  }
  void Configure(const std::string& text) {
    std::filesystem::create_directories(m_Folder / "config/brenic");
    WriteTextFile(m_Folder / "config/brenic/brenic.conf", text);
    setenv("XDG_CONFIG_HOME", (m_Folder / "config").c_str(), 1);
  }
  std::string Address() const { return m_Target.m_Endpoint.ToString().str(); }

  TempFolder m_Folder;
  Target m_Target;
  std::vector<std::pair<const char*, std::optional<std::string>>> m_Before;
};

constexpr char k_Configuration[] = "[Client]\nMaster=farm:99\nCA=ca.pem\nCertificate=/abs/c.pem\nKey=k.pem\n";

struct Row {
  std::vector<const char*> m_Arguments;
  const char* m_Address; // when it succeeds
  const char* m_Problem; // else a part of the text
};

TEST_F(TargetTest, TheCommandLineGoesBeforeTheConfigurationAndMistakesEndTheRun) {
  Configure(k_Configuration);
  const Row k_Rows[] = {
      {{}, "farm:99", nullptr},
      {{"-Info"}, "farm:99", nullptr},
      {{"-Master", "other"}, "other:8730", nullptr},
      {{"-master", "other:1"}, "other:1", nullptr},
      {{"-Master", "[::1]"}, "[::1]:8730", nullptr},
      {{"-Master", "[::1]:7"}, "[::1]:7", nullptr},
      {{"-MasterPort", "7"}, "farm:7", nullptr},
      {{"-Master", "other:1", "-MasterPort", "7"}, "other:7", nullptr},
      {{"-Master", "unix:/a/b"}, "unix:/a/b", nullptr},
      {{"-Master", "unix:/a/b", "-MasterPort", "7"},
       nullptr,
       "-MasterPort does not go with the local socket unix:/a/b"},
      {{"-Master"}, nullptr, "-Master '' is not an address: an address is missing"},
      {{"-Master", ""}, nullptr, "an address is missing"},
      {{"-Master", "-Info"}, nullptr, "a host name does not begin with a dash"},
      {{"-Master", "a b"}, nullptr, "an address holds no spaces"},
      {{"-Master", ":5"}, nullptr, "the host is missing"},
      {{"-Master", "a:"}, nullptr, "the port must be a number from 1 to 65535"},
      {{"-Master", "a:0"}, nullptr, "the port must be a number from 1 to 65535"},
      {{"-Master", "a:65536"}, nullptr, "the port must be a number from 1 to 65535"},
      {{"-Master", "a:5x"}, nullptr, "the port must be a number from 1 to 65535"},
      {{"-Master", "a:+5"}, nullptr, "the port must be a number from 1 to 65535"},
      {{"-Master", "::1"}, nullptr, "an IPv6 address is written in brackets, as [::1]:8730"},
      {{"-Master", "[::1"}, nullptr, "the closing bracket is missing"},
      {{"-Master", "[::1]5"}, nullptr, "a port is written behind a colon"},
      {{"-Master", "[]"}, nullptr, "the host is missing"},
      {{"-Master", "[farm]"},
       nullptr,
       "-Master '[farm]' is not an address: what stands in brackets is no IPv6"},
      {{"-Master", "me@farm"}, nullptr, "a host name has no characters but"},
      {{"-Master", "farm..example"}, nullptr, "each part of a host name"},
      {{"-Master", "unix:"}, nullptr, "the path is missing behind unix:"},
      {{"-MasterPort"}, nullptr, "-MasterPort '' is not a port number from 1 to 65535"},
      {{"-MasterPort", "0"}, nullptr, "-MasterPort '0' is not a port number"},
      {{"-MasterPort", "-1"}, nullptr, "-MasterPort '-1' is not a port number"},
      {{"-MasterPort", "65536"}, nullptr, "-MasterPort '65536' is not a port number"},
      {{"-ConnectTimeout"}, nullptr, "-ConnectTimeout '' is not a number of seconds"},
      {{"-ConnectTimeout", "soon"}, nullptr, "-ConnectTimeout 'soon' is not a number of seconds"},
      {{"-ConnectTimeout", "-1"}, nullptr, "-ConnectTimeout '-1' is not a number of seconds"},
      {{"-ConnectTimeout", "nan"}, nullptr, "-ConnectTimeout 'nan' is not a number of seconds"},
      {{"-ConnectTimeout", "inf"}, nullptr, "-ConnectTimeout 'inf' is not a number of seconds"},
      {{"-ConnectTimeout", "1e300"}, nullptr, "-ConnectTimeout '1e300' is not a number of seconds"},
      {{"-ConnectTimeout", "5s"}, nullptr, "-ConnectTimeout '5s' is not a number of seconds"},
  };
  for (const Row& row : k_Rows) {
    const String problem = Choose(row.m_Arguments);
    SCOPED_TRACE(testing::PrintToString(row.m_Arguments));
    if (row.m_Problem) {
      EXPECT_THAT(problem.str(), HasSubstr(row.m_Problem));
    } else {
      EXPECT_EQ(problem, "");
      EXPECT_EQ(Address(), row.m_Address);
    }
  }
}

TEST_F(TargetTest, PathsOfCredentialsAreRelativeToTheConfiguration) {
  Configure(k_Configuration);
  ASSERT_EQ(Choose({}), "");
  EXPECT_EQ(m_Target.m_Credentials.m_Authority.str(), String(m_Folder / "config/brenic/ca.pem"));
  EXPECT_EQ(m_Target.m_Credentials.m_Certificate.str(), String("/abs/c.pem"));
  EXPECT_EQ(m_Target.m_Credentials.m_Key.str(), String(m_Folder / "config/brenic/k.pem"));
}

TEST_F(TargetTest, ConnectTimeoutIsInSecondsAndZeroIsNone) {
  Configure(k_Configuration);
  ASSERT_EQ(Choose({"-ConnectTimeout", "1.5"}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::chrono::milliseconds(1500));
  ASSERT_EQ(Choose({"-ConnectTimeout", "0"}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::nullopt);
  ASSERT_EQ(Choose({}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::nullopt);
}

TEST_F(TargetTest, AConnectTimeoutAboveZeroIsNeverRoundedToNone) {
  Configure(k_Configuration);
  ASSERT_EQ(Choose({"-ConnectTimeout", "0.0004"}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::chrono::milliseconds(1));
  Configure(std::string(k_Configuration) + "ConnectTimeout=1e-30\n");
  ASSERT_EQ(Choose({}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::chrono::milliseconds(1));
}

TEST_F(TargetTest, TheConfiguredTimeoutHoldsWhereTheSwitchSaysNothing) {
  Configure(std::string(k_Configuration) + "connecttimeout = 2.5\n");
  ASSERT_EQ(Choose({}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::chrono::milliseconds(2500));
  EXPECT_EQ(m_Target.m_RestoreTimeout, std::nullopt) << "it is about the first connection only";
  ASSERT_EQ(Choose({"-ConnectTimeout", "1"}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::chrono::milliseconds(1000));
  EXPECT_EQ(m_Target.m_RestoreTimeout, std::chrono::milliseconds(1000));
  ASSERT_EQ(Choose({"-ConnectTimeout", "0"}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::nullopt) << "the switch asks for no limit";
  Configure(std::string(k_Configuration) + "ConnectTimeout=0\n");
  ASSERT_EQ(Choose({}), "");
  EXPECT_EQ(m_Target.m_ConnectTimeout, std::nullopt);
}

TEST_F(TargetTest, AMalformedConfiguredTimeoutEndsTheRun) {
  for (const char* value : {"", "soon", "-1", "nan", "1e300", "5s"}) {
    Configure(std::string(k_Configuration) + "ConnectTimeout=" + value + "\n");
    const std::string problem = "The ConnectTimeout '" + std::string(value) + "' in '" +
                                (m_Folder / "config/brenic/brenic.conf") + "' is not a number of seconds";
    EXPECT_EQ(Choose({}).str(), problem);
    EXPECT_EQ(Choose({"-ConnectTimeout", "5"}).str(), problem);
  }
}

TEST_F(TargetTest, TheNamedConfigurationGoesBeforeTheUsersOwn) {
  Configure(k_Configuration);
  WriteTextFile(m_Folder / "named.conf", "[client]\nmaster = named\n");
  setenv("BRENIC_CONFIG", (m_Folder / "named.conf").c_str(), 1);
  EXPECT_EQ(Choose({}), "");
  EXPECT_EQ(Address(), "named:8730");
}

TEST_F(TargetTest, ANamedConfigurationThatCannotBeReadIsNotPassedOver) {
  Configure(k_Configuration);
  setenv("BRENIC_CONFIG", (m_Folder / "missing.conf").c_str(), 1);
  EXPECT_THAT(Choose({}).str(), StartsWith("Cannot read the configuration '" + (m_Folder / "missing.conf") +
                                           "': No such file or directory"));
  EXPECT_THAT(Choose({"-Master", "other"}).str(), StartsWith("Cannot read the configuration"));
  EXPECT_EQ(Choose({"-Master", "unix:/a"}), ""); // needs none
}

TEST_F(TargetTest, TheHomeFolderIsTheFallbackOfTheConfigurationFolder) {
  std::filesystem::create_directories(m_Folder / ".config/brenic");
  WriteTextFile(m_Folder / ".config/brenic/brenic.conf", k_Configuration);
  EXPECT_EQ(Choose({}), "");
  EXPECT_EQ(Address(), "farm:99");
}

TEST_F(TargetTest, AConfigurationWithoutAMasterSaysSo) {
  Configure("[Client]\nCA=ca.pem\n");
  EXPECT_EQ(Choose({}).str(), "The configuration '" + (m_Folder / "config/brenic/brenic.conf") +
                                  "' names no Master; write 'Master = HOST' into its section [Client], or "
                                  "use -Master <address:port>");
  EXPECT_EQ(Choose({"-Master", "other"}), "");
}

TEST_F(TargetTest, AConfiguredAddressThatIsMalformedEndsTheRun) {
  Configure("[Client]\nMaster = farm/8730\n");
  EXPECT_THAT(Choose({}).str(),
              StartsWith("The Master 'farm/8730' in '" + (m_Folder / "config/brenic/brenic.conf") +
                         "' is not an address: a host name has no characters but"));
}

TEST_F(TargetTest, LocalSocketsAreTriedOnlyWithoutConfigurationAndAddress) {
  std::filesystem::create_directories(m_Folder / "run/brenic");
  WriteTextFile(m_Folder / "run/brenic/master.sock", "");
  setenv("XDG_RUNTIME_DIR", (m_Folder / "run").c_str(), 1);
  EXPECT_EQ(Choose({}), "");
  EXPECT_EQ(Address(), "unix:" + (m_Folder / "run/brenic/master.sock"));
  EXPECT_THAT(Choose({"-Master", "other"}).str(), StartsWith("There are no credentials for other:8730"));
  EXPECT_THAT(Choose({"-MasterPort", "5"}).str(), StartsWith("No Master is configured"));
  Configure(k_Configuration);
  EXPECT_EQ(Choose({}), "");
  EXPECT_EQ(Address(), "farm:99");
}

TEST_F(TargetTest, WithNothingAtAllTheTextSaysWhatToDo) {
  if (std::filesystem::exists("/etc/brenic/brenic.conf") ||
      std::filesystem::exists("/run/brenic/master.sock"))
    GTEST_SKIP() << "this machine has a Master";
  const std::string problem = Choose({}).str();
  EXPECT_THAT(problem,
              StartsWith("No Master is configured: there is no " + (m_Folder / ".config/brenic/brenic.conf") +
                         " and /etc/brenic/brenic.conf and no local Master; use -Master"));
}

} // namespace
} // namespace brenic
