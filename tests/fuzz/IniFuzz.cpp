#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "rlib/IniFile.h"

// What the reader delivers can be written down so that it reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto quoted = [](const rlib::String& text) {
    std::string out = "\"";
    for (const char c : text.str()) {
      if (c == '"' || c == '\\')
        out += '\\';
      out += c;
    }
    return out + "\"";
  };
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  rlib::IniFile first(false);
  first.LoadText(text);
  std::string written;
  size_t nameless = 0;
  rlib::String name;
  rlib::String value;
  while (first.SetNextSection()) {
    written += "[" + first.GetCurrentSection().str() + "]\n";
    nameless += first.GetCurrentSection().empty() ? 1 : 0;
    while (first.GetNextValue(name, value)) {
      if (name.empty() || name.str().find('\n') != std::string::npos)
        std::abort();
      written += quoted(name) + "=" + quoted(value) + "\n";
    }
  }

  first.LoadText(text);
  rlib::IniFile second(false);
  second.LoadText(written);
  if (second.SkippedLines() != nameless) // a header without a name is skipped, and begins such a section
    std::abort();
  rlib::String otherName;
  rlib::String otherValue;
  while (first.SetNextSection()) {
    if (!second.SetNextSection() || first.GetCurrentSection() != second.GetCurrentSection())
      std::abort();
    while (first.GetNextValue(name, value))
      if (!second.GetNextValue(otherName, otherValue) || name != otherName || value != otherValue)
        std::abort();
    if (second.GetNextValue(otherName, otherValue))
      std::abort();
  }
  if (second.SetNextSection())
    std::abort();
  return 0;
}
