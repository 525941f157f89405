// The database of layout 1 that is kept in layout1, which its README.md explains.
#pragma once

#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "TempFolder.h"
#include "serve/TestFarm.h"
#include "store/Sqlite.h"

namespace brenic::master {

inline std::string Kept(const std::string& name) {
  return ReadTextFile(std::string(LAYOUT1) + "/" + name);
}

/// A copy of it, in a folder of its own.
class Layout1Test : public testing::Test {
protected:
  Layout1Test() {
    std::filesystem::create_directory(Data());
    std::filesystem::permissions(Data(), std::filesystem::perms::owner_all);
    std::filesystem::copy_file(std::string(LAYOUT1) + "/master.db", File());
    chmod(File().c_str(), 0600);
  }
  std::string Data() const { return m_Folder / "data"; }
  std::string File() const { return Data() + "/master.db"; }

  Ended Run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--data-dir", Data()});
    return RunMaster(arguments);
  }
  std::string Output(const std::vector<std::string>& arguments) const {
    const Ended ended = Run(arguments);
    EXPECT_EQ(ended.m_Status, 0) << ended.m_Errors;
    return ended.m_Output;
  }
  void Execute(const char* sql) const { Database(File(), Database::Mode::k_ReadWrite).Execute(sql); }
  std::string Scalar(const char* sql) const {
    return Database(File(), Database::Mode::k_ReadOnly).Scalar(sql);
  }

  const TempFolder m_Folder;
};

} // namespace brenic::master
