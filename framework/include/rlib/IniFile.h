// Reading INI files: sections with name/value pairs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "rlib/File.h"
#include "rlib/Result.h"

namespace rlib {

/// Delivers sections and their pairs in file order, repeated ones each time.
///
///   ; comment          # comment          (on lines of their own)
///   [Section]
///   name = value                          space around both is dropped
///   "a = b" = "say \"hi\" \\ "            quotes keep space, '=' and comment signs
///
/// Pairs before the first header, or behind one that is malformed, belong to a section with the empty name. A
/// byte order mark and CRLF are accepted. A line that is neither header, pair nor comment, that has an empty
/// name, or that exceeds 1 MiB is skipped. Not for use by several threads at once.
class IniFile : public File {
public:
  static constexpr size_t k_MaxLine = 1 << 20;

  /// With optional, a file that does not exist reads as an empty one, without a report.
  explicit IniFile(bool optional = false) : m_Optional(optional) {}

  /// Reads the file that SetFileName named, in place of what was read before; true when it could be read.
  /// With quotes, double quotes around names and values are taken off. With report, an unreadable file is
  /// reported and noted as an input failure, each skipped line is a warning in the log, and stdErr gets one
  /// summary line; skipped lines do not make the result false. Never throws for the file's sake, never blocks
  /// (FIFO, device).
  bool Load(bool quotes, bool report);

  /// Reads the text instead of a file; skipped lines are only counted.
  void LoadText(std::string_view text, bool quotes = true);

  /// Lines that the last load skipped.
  size_t SkippedLines() const { return m_Skipped; }

  /// Moves to the next section, the first one on the first call; false when there are no more.
  bool SetNextSection();
  /// Name of the current section; empty when there is none.
  const String& GetCurrentSection() const { return m_SectionName; }
  /// The next pair of the current section; false, and both left alone, when it has no more.
  bool GetNextValue(String& name, String& value);

private:
  /// Texts lie one behind the other in m_Text; a section's name comes before its pairs.
  struct Item {
    uint32_t m_NameSize;
    uint32_t m_ValueSize;
    bool m_IsSection;
  };

  void Clear();
  Result<> ReadFile(bool quotes, bool report);
  void TakeLine(std::string_view line, bool tooLong, bool quotes, bool report);
  void Skip(const char* reason, bool report);
  void Add(bool isSection, std::string_view name, std::string_view value);
  template <typename Read>
  Result<> ReadLines(Read read, bool quotes, bool report);

  const bool m_Optional;
  std::string m_Text;
  std::vector<Item> m_Items;
  size_t m_Line = 0;
  size_t m_Skipped = 0;
  size_t m_NextItem = 0;
  size_t m_NextText = 0;
  String m_SectionName;
};

} // namespace rlib
