#include "client/Configuration.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

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

  /// The configuration of a file with this text, named by the environment.
  Configuration Load(const std::string& text) {
    WriteTextFile(m_Folder / "brenic.conf", text);
    setenv("BRENIC_CONFIG", (m_Folder / "brenic.conf").c_str(), 1);
    return Loaded();
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
  EXPECT_EQ(c.m_File.str(), m_Folder / "brenic.conf");
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

TEST_F(ConfigurationTest, IgnoresOtherSectionsAndNames) {
  const Configuration c =
      Load("[Other]\nMaster=wrong\n[Client]\nSomething=1\nMaster=right\n[Next]\nMaster=wrong\n");
  EXPECT_EQ(c.m_Master, "right");
}

TEST_F(ConfigurationTest, AnEmptyFileIsAConfigurationWithoutAnAddress) {
  const Configuration c = Load("");
  EXPECT_EQ(c.m_File.str(), m_Folder / "brenic.conf");
  EXPECT_EQ(c.m_Master, "");
}

TEST_F(ConfigurationTest, AFileThatTheEnvironmentNamesMustExist) {
  const std::string file = m_Folder / "absent.conf";
  setenv("BRENIC_CONFIG", file.c_str(), 1);
  const auto loaded = LoadConfiguration();
  ASSERT_FALSE(loaded);
  EXPECT_EQ(loaded.Reason(), "Cannot read the configuration '" + file + "': No such file or directory");
}

TEST_F(ConfigurationTest, AFolderIsNoConfiguration) {
  setenv("BRENIC_CONFIG", m_Folder.Name().c_str(), 1);
  const auto loaded = LoadConfiguration();
  ASSERT_FALSE(loaded);
  EXPECT_THAT(loaded.Reason().str(), HasSubstr("Cannot read the configuration '" + m_Folder.Name() + "'"));
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
