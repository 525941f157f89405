// Options files of a run over the scripted client layer.
#pragma once

#include "scripted/SwitchHandlerTest.h"

class OptionsFileTest : public scripted::SwitchHandlerTest {
protected:
  OptionsFileTest() {
    Install(1, "Alpha", {"first"}, R"([{"name":"Depth","default":5},{"name":"Fast","default":true}])");
    Install(2, "Beta");
  }
  bool Copy(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::AddFile, std::move(arguments), index);
  }
  /// Reads a file with these contents.
  bool CopyText(const std::string& text) {
    WriteTextFile(m_File, text);
    return Copy({"-CopyFile", m_File.c_str()});
  }
  void ExpectNothingPending() {
    EXPECT_FALSE(m_Access.m_OptionsMsg || m_Access.m_LimitsMsg || m_Access.m_RestrictionsMsg);
    EXPECT_THAT(m_Access.m_TypeOptionsMsgs, testing::IsEmpty());
  }

  const TempFolder m_Folder;
  const std::string m_File = m_Folder / "options.ini";
};
