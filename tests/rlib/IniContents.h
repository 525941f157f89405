// What an IniFile delivers, as texts.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "rlib/IniFile.h"

/// Everything that the reader delivers: "[section]" and "name=value".
inline std::vector<std::string> Contents(rlib::IniFile& ini) {
  std::vector<std::string> contents;
  rlib::String name;
  rlib::String value;
  EXPECT_FALSE(ini.GetNextValue(name, value));
  while (ini.SetNextSection()) {
    contents.push_back("[" + ini.GetCurrentSection().str() + "]");
    while (ini.GetNextValue(name, value))
      contents.push_back(name.str() + "=" + value.str());
  }
  EXPECT_FALSE(ini.SetNextSection());
  EXPECT_FALSE(ini.GetNextValue(name, value));
  return contents;
}
