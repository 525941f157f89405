#include "Layout.h"

#include <algorithm>

#include "rlib/Platform.h"

using namespace brenic;
using namespace rlib;

namespace {

std::string Cell(int platform, const Path& root, int localPlatform) {
  const std::string& text = root.str().str();
  return platform == localPlatform ? "(" + text + ")" : text;
}

std::string Label(int platform, int localPlatform) {
  const std::string name = Platform::Name(platform).str();
  return platform == localPlatform ? "* " + name + " *" : name;
}

void AddColumn(std::string& line, const char* separator, const std::string& text, size_t width, char fill) {
  if (!line.empty())
    line += separator;
  line += text;
  line.append(width - std::min(width, text.size()), fill);
}

} // namespace

String TranslationTable(const vector<TranslationSet>& translations, int localPlatform) {
  map<int, size_t> widths;
  for (const TranslationSet& set : translations) {
    for (const auto& [platform, root] : set) {
      size_t& width = widths[platform];
      width = std::max(
          {width, Cell(platform, root, localPlatform).size(), Label(platform, localPlatform).size()});
    }
  }

  std::string table;
  bool first = true;
  for (const TranslationSet& set : translations) {
    std::string header, divider, row;
    for (const auto& [platform, root] : set) {
      const size_t width = widths[platform];
      if (first) {
        AddColumn(header, " | ", Label(platform, localPlatform), width, ' ');
        AddColumn(divider, "-+-", "", width, '-');
      }
      AddColumn(row, " | ", Cell(platform, root, localPlatform), width, ' ');
    }
    first = false;
    for (const std::string& line : {header, divider}) {
      if (!line.empty())
        table += line + "\n";
    }
    table += row + "\n";
  }
  return table;
}

String TranslationLine(const vector<TranslationSet>& translations) {
  std::string line = "[";
  for (const TranslationSet& set : translations) {
    std::string roots = "[";
    for (const auto& entry : set) {
      if (roots.size() > 1)
        roots += ",";
      roots += "\"" + entry.second.str().str() + "\"";
    }
    if (line.size() > 1)
      line += ",";
    line += roots + "]";
  }
  return line + "]";
}
