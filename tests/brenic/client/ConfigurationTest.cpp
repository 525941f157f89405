#include "client/Configuration.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "TempFolder.h"
#include "rlib/File.h"
#include "scripted/Recorder.h"

using namespace brenic;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class ConfigurationTest : public testing::Test {
protected:
  static constexpr const char* k_Names[] = {"BRENIC_CONFIG", "XDG_CONFIG_HOME", "HOME", "XDG_RUNTIME_DIR"};

  ConfigurationTest() {
    for (const char* name : k_Names) {
      const char* value = std::getenv(name);
      m_Before.emplace_back(value ? std::optional<std::string>(value) : std::nullopt);
      unsetenv(name);
    }
  }
  ~ConfigurationTest() override {
    for (size_t i = 0; i < m_Before.size(); ++i) {
      if (m_Before[i])
        setenv(k_Names[i], m_Before[i]->c_str(), 1);
      else
        unsetenv(k_Names[i]);
    }
  }

  /// Makes a file with this text and names it in the environment.
  void Name(const std::string& text) {
    WriteTextFile(m_Named, text);
    setenv("BRENIC_CONFIG", m_Named.c_str(), 1);
  }
  /// The configuration of a file with this text, named by the environment.
  Configuration Load(const std::string& text) {
    Name(text);
    return Loaded();
  }
  /// Why there is none that can be used; empty when there is no problem.
  static std::string Problem() {
    const auto loaded = LoadConfiguration();
    return loaded ? "" : loaded.Reason().str();
  }
  /// The configuration, which has to be there.
  static Configuration Loaded() {
    const auto loaded = LoadConfiguration();
    EXPECT_TRUE(loaded) << loaded.Reason();
    EXPECT_TRUE(loaded && *loaded);
    return loaded && *loaded ? **loaded : Configuration();
  }
  static std::vector<std::string> Files() {
    std::vector<std::string> files;
    for (const Path& file : ConfigurationFiles())
      files.push_back(file.str().str());
    return files;
  }

  TempFolder m_Folder;
  const std::string m_Named = m_Folder / "named.conf";
  scripted::Recorder m_Recorder;

private:
  std::vector<std::optional<std::string>> m_Before;
};

TEST_F(ConfigurationTest, IsLookedForInTheUsersFolderThenInTheSystems) {
  setenv("HOME", "/home/somebody", 1);
  EXPECT_THAT(Files(), ElementsAre("/home/somebody/.config/brenic/brenic.conf", "/etc/brenic/brenic.conf"));
  setenv("XDG_CONFIG_HOME", "/config", 1);
  EXPECT_THAT(Files(), ElementsAre("/config/brenic/brenic.conf", "/etc/brenic/brenic.conf"));
  setenv("XDG_CONFIG_HOME", "", 1);
  EXPECT_THAT(Files(), ElementsAre("/home/somebody/.config/brenic/brenic.conf", "/etc/brenic/brenic.conf"));
  unsetenv("HOME");
  EXPECT_THAT(Files(), ElementsAre("/etc/brenic/brenic.conf"));
}

TEST_F(ConfigurationTest, TheFileNamedByTheEnvironmentIsTheOnlyOne) {
  setenv("HOME", "/home/somebody", 1);
  setenv("BRENIC_CONFIG", "/some/file", 1);
  EXPECT_THAT(Files(), ElementsAre("/some/file"));
}

TEST_F(ConfigurationTest, ReadsAddressAndCredentialsRelativeToTheFile) {
  const Configuration c = Load("[Client]\nMaster = host:1\nCA = ca.pem\nCertificate = sub/client.pem\n"
                               "Key = /absolute/client.key\n");
  EXPECT_EQ(c.m_File.str(), m_Named);
  EXPECT_EQ(c.m_Master, "host:1");
  EXPECT_EQ(c.m_Credentials.m_Authority.str(), m_Folder / "ca.pem");
  EXPECT_EQ(c.m_Credentials.m_Certificate.str(), m_Folder / "sub/client.pem");
  EXPECT_EQ(c.m_Credentials.m_Key.str(), "/absolute/client.key");
}

TEST_F(ConfigurationTest, IgnoresCaseOfSectionAndNames) {
  const Configuration c = Load("[CLIENT]\nmaster=m\nca=/a\nCERTIFICATE=/b\nkEY=/c\n");
  EXPECT_EQ(c.m_Master, "m");
  EXPECT_EQ(c.m_Credentials.m_Authority.str(), "/a");
  EXPECT_EQ(c.m_Credentials.m_Certificate.str(), "/b");
  EXPECT_EQ(c.m_Credentials.m_Key.str(), "/c");
}

TEST_F(ConfigurationTest, AnEmptyFileIsAConfigurationWithoutAnAddress) {
  const Configuration c = Load("");
  EXPECT_EQ(c.m_File.str(), m_Named);
  EXPECT_EQ(c.m_Master, "");
}

TEST_F(ConfigurationTest, AFileThatTheEnvironmentNamesMustExist) {
  const std::string file = m_Folder / "absent.conf";
  setenv("BRENIC_CONFIG", file.c_str(), 1);
  EXPECT_EQ(Problem(), "Cannot read the configuration '" + file +
                           "': No such file or directory; $BRENIC_CONFIG names it: correct or unset that");
}

// --- a configuration that is there is used as a whole or not at all ---

TEST_F(ConfigurationTest, WhatIsNotUnderstoodIsRefusedWithItsLine) {
  const std::string k_Names = "[Client] takes Master, CA, Certificate, Key, ConnectTimeout";
  const struct {
    std::string m_Text;
    std::string m_Problem;
  } k_Rows[] = {
      {"[Client]\nMaster = m\nMaster m\n",
       "line 3: it is neither a section nor 'Name = value' nor a comment"},
      {"[Client]\n\n# comment\nMastr = m\n", "line 4: the name 'Mastr' is not known; " + k_Names},
      {"[Client]\nMaster = m\nm\xc3\xa4h = 1\n", "line 3: the name 'm\xc3\xa4h' is not known; " + k_Names},
      {"[Client\nMaster = m\n", "line 1: it is neither a section nor 'Name = value' nor a comment"},
      {"[Client]\n= m\n", "line 2: it is neither a section nor 'Name = value' nor a comment"},
      {"[Client]\nMaster = m\n[Other]\n", "line 3: the section [Other] is not known; there is only [Client]"},
      {"[Clients]\nMaster = m\n", "line 1: the section [Clients] is not known; there is only [Client]"},
      {"[Client]\r\nMaster = m\r\nmaster = n\r\n",
       "line 3: 'master' is given a second time; keep one of them"},
      {"[Client]\nCA = a\n[client]\nCA = a\n", "line 4: 'CA' is given a second time; keep one of them"},
      {"; first\nMaster = m\n[Client]\n",
       "line 2: 'Master' belongs under the section [Client]; write that above it"},
      {"[Client]\nMaster = m\x01\n", "line 2: it holds a control character"},
      {std::string("[Client]\nMaster = m\0\n", 21), "line 2: it holds a control character"},
      {std::string("\xff\xfe[\0C\0", 6), "line 1: it holds a control character"}, // UTF-16
  };
  for (const auto& row : k_Rows) {
    SCOPED_TRACE(row.m_Text);
    Name(row.m_Text);
    EXPECT_EQ(Problem(), "The configuration '" + m_Named + "' cannot be used: " + row.m_Problem);
  }
}

TEST_F(ConfigurationTest, WhatIniFilesMayHoldBesidesIsTaken) {
  const Configuration c = Load("\xef\xbb\xbf; comment\r\n\r\n[ Client ]\r\n\t# comment\r\n"
                               "\"Master\" = \"host:1\"\r\n[Client]\r\nCA = /a b");
  EXPECT_EQ(c.m_Master, "host:1");
  EXPECT_EQ(c.m_Credentials.m_Authority.str(), "/a b");
}

TEST_F(ConfigurationTest, AnythingButARegularFileIsRefusedAtOnce) {
  const std::string fifo = m_Folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::pair<std::string, const char*> k_Files[] = {{m_Folder.Name(), "it is a folder"},
                                                         {fifo, "it is not a regular file"},
                                                         {"/dev/null", "it is not a regular file"}};
  for (const auto& [file, reason] : k_Files) {
    setenv("BRENIC_CONFIG", file.c_str(), 1);
    EXPECT_EQ(Problem(), "Cannot read the configuration '" + file + "': " + reason +
                             "; make it readable, or name another in $BRENIC_CONFIG");
  }
}

TEST_F(ConfigurationTest, AFileThatIsTooLongIsRefused) {
  Name("[Client]\n;" + std::string(1 << 20, ' '));
  EXPECT_THAT(Problem(), HasSubstr("': it is longer than 1 MiB; "));
}

/// Without the rights of root, which no permission keeps out.
class AsSomebody {
public:
  AsSomebody() : m_Before(geteuid()) { EXPECT_TRUE(m_Before != 0 || seteuid(65534) == 0); }
  ~AsSomebody() { EXPECT_TRUE(m_Before != 0 || seteuid(m_Before) == 0); }

private:
  const uid_t m_Before;
};

TEST_F(ConfigurationTest, AFileThatMayNotBeReadIsNotPassedOver) {
  setenv("XDG_CONFIG_HOME", m_Folder.Name().c_str(), 1);
  const std::string folder = m_Folder / "brenic", file = folder + "/brenic.conf";
  std::filesystem::create_directory(folder);
  WriteTextFile(file, "[Client]\nMaster=mine\n");
  ASSERT_EQ(chmod(m_Folder.Name().c_str(), 0755), 0);
  const std::string problem = "Cannot read the configuration '" + file +
                              "': Permission denied; make it readable, or name another in $BRENIC_CONFIG";
  for (const std::string& closed : {file, folder}) {
    ASSERT_EQ(chmod(closed.c_str(), 0), 0);
    {
      const AsSomebody unprivileged;
      EXPECT_EQ(Problem(), problem) << closed;
    }
    ASSERT_EQ(chmod(closed.c_str(), 0755), 0);
  }
}

TEST_F(ConfigurationTest, ALinkThatLeadsNowhereIsNotPassedOver) {
  setenv("XDG_CONFIG_HOME", m_Folder.Name().c_str(), 1);
  std::filesystem::create_directory(m_Folder / "brenic");
  const std::string file = m_Folder / "brenic/brenic.conf";
  std::filesystem::create_symlink("absent", file);
  EXPECT_THAT(Problem(), HasSubstr("'" + file + "': No such file or directory; "));
  std::filesystem::remove(file);
  std::filesystem::create_symlink("brenic.conf", file);
  EXPECT_THAT(Problem(), HasSubstr("'" + file + "': Too many levels of symbolic links; "));
}

TEST_F(ConfigurationTest, AFileInPlaceOfTheFolderIsNoConfiguration) {
  setenv("XDG_CONFIG_HOME", m_Folder.Name().c_str(), 1);
  WriteTextFile(m_Folder / "brenic", "");
  if (rlib::File::Exists("/etc/brenic/brenic.conf"))
    GTEST_SKIP() << "this machine has a configuration for all users";
  EXPECT_EQ(Problem(), "");
}

TEST_F(ConfigurationTest, TheUsersFileIsFound) {
  setenv("XDG_CONFIG_HOME", m_Folder.Name().c_str(), 1);
  std::filesystem::create_directory(m_Folder / "brenic");
  WriteTextFile(m_Folder / "brenic/brenic.conf", "[Client]\nMaster=mine\n");
  EXPECT_EQ(Loaded().m_Master, "mine");
}

TEST_F(ConfigurationTest, WithoutAnyFileThereIsNoneAndNoProblem) {
  setenv("XDG_CONFIG_HOME", m_Folder.Name().c_str(), 1);
  if (rlib::File::Exists("/etc/brenic/brenic.conf"))
    GTEST_SKIP() << "this machine has a configuration for all users";
  const auto loaded = LoadConfiguration();
  ASSERT_TRUE(loaded) << loaded.Reason();
  EXPECT_FALSE(*loaded);
}

TEST_F(ConfigurationTest, OfTheLocalSocketsThoseThatExistAreTried) {
  setenv("XDG_RUNTIME_DIR", m_Folder.Name().c_str(), 1);
  const std::string socket = m_Folder / "brenic/master.sock";
  const auto found = [&] {
    const auto sockets = LocalSockets();
    return std::count(sockets.begin(), sockets.end(), Path(socket));
  };
  EXPECT_EQ(found(), 0);
  std::filesystem::create_directory(m_Folder / "brenic");
  WriteTextFile(socket, "");
  EXPECT_EQ(found(), 1);
  EXPECT_EQ(LocalSockets().front().str(), socket);
}

} // namespace
