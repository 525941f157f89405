#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "rlib/IniFile.h"

namespace {

void Require(bool good) {
  if (!good)
    std::abort();
}

} // namespace

// What the reader delivers can be written down in quotes, so that it reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  rlib::IniFile first;
  const bool isText = text.find('\0') == std::string_view::npos && !text.starts_with("\xff\xfe") &&
                      !text.starts_with("\xfe\xff");
  Require(first.LoadText(text) == isText);
  std::string written;
  rlib::String name;
  rlib::String value;
  while (first.SetNextSection()) {
    Require(isText);
    // Only the first section may be without a header, and so without a name.
    Require(!first.GetCurrentSection().empty() || written.empty());
    if (!first.GetCurrentSection().empty())
      written += "[" + first.GetCurrentSection().str() + "]\n";
    while (first.GetNextValue(name, value)) {
      Require(name.str().find('\n') == std::string::npos && value.str().find('\n') == std::string::npos);
      written += "\"" + name.str() + "\"=\"" + value.str() + "\"\n";
    }
  }

  Require(first.LoadText(text) == isText);
  rlib::IniFile second;
  Require(second.LoadText(written) && second.SkippedLines() == 0);
  rlib::String otherName;
  rlib::String otherValue;
  while (first.SetNextSection()) {
    Require(second.SetNextSection() && first.GetCurrentSection() == second.GetCurrentSection());
    while (first.GetNextValue(name, value))
      Require(second.GetNextValue(otherName, otherValue) && name == otherName && value == otherValue);
    Require(!second.GetNextValue(otherName, otherValue));
  }
  Require(!second.SetNextSection());
  return 0;
}
