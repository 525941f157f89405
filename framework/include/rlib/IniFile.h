// Reading INI files: sections with name/value pairs.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "rlib/File.h"
#include "rlib/Result.h"

namespace rlib {

class TextLines;

/// Delivers sections and their pairs in file order, repeated ones each time.
///
///   ; comment          # comment          (on lines of their own)
///   [Section]          ; comment          (or behind a section)
///   name = value                          space around both is dropped
///   "a = b" = " C:\dir\ "                 quotes keep space, '=' and comment signs
///
/// Quotes are dropped where they stand at both ends of a name or a value; nothing between them is an escape.
/// A quoted name ends at the first quote that an '=' follows, so no name can be written that holds both with
/// nothing but space between. "" is a name, the empty one. Pairs before the first header belong to a section
/// with the empty name. A byte order mark and CRLF are accepted.
///
/// A line that is neither header, pair nor comment, that has no name, or that exceeds 1 MiB is malformed and
/// skipped, and so is everything under a malformed header. What begins with a mark of UTF-16 or holds a NUL
/// byte is not read at all. Memory follows what GetNextValue delivers, not the file. Not for use by several
/// threads at once.
class IniFile : public File {
public:
  static constexpr size_t k_MaxLine = 1 << 20;
  static constexpr size_t k_MostLogged = 20;

  /// With optional, a file that does not exist reads as an empty one, without a report.
  explicit IniFile(bool optional = false);
  ~IniFile() override;

  /// Opens the file that SetFileName named, in place of what was read before, and looks through all of it;
  /// true when it can be read. With quotes, double quotes around names and values are taken off. With report,
  /// an unreadable file is reported; the first malformed lines (k_MostLogged) are warnings in the log, and
  /// stdErr gets one summary line. Either is noted as an input failure; malformed lines do not make the
  /// result false. Never throws for the file's sake, never blocks (FIFO, device).
  bool Load(bool quotes, bool report);

  /// Reads a copy of the text instead of a file, without a report.
  bool LoadText(std::string_view text, bool quotes = true);

  /// Malformed lines that the last load found.
  size_t SkippedLines() const { return m_Skipped; }
  /// Called by a load for every malformed line, with its number (from 1) and what is wrong with it.
  void OnSkipped(std::function<void(size_t line, const char* why)> each) { m_OnSkipped = std::move(each); }
  /// Why the last load failed, or could not be delivered to its end; empty when neither is so.
  const String& Problem() const { return m_Problem; }

  /// Moves to the next section, the first one on the first call; false when there are no more.
  bool SetNextSection();
  /// Name of the current section; empty when there is none.
  const String& GetCurrentSection() const { return m_SectionName; }
  /// The next pair of the current section; false, and both left alone, when it has no more.
  bool GetNextValue(String& name, String& value);
  /// Of the header or pair that was delivered last, from 1; 0 when there was none. A section without a header
  /// begins at its first pair.
  size_t LineNumber() const { return m_LineNumber; }

private:
  enum class Kind { k_End, k_Section, k_Pair, k_Malformed };
  struct Item {
    Kind m_Kind = Kind::k_End;
    std::string m_Name;
    std::string m_Value;
    const char* m_Why = nullptr; // it is malformed
    size_t m_Line = 0;
  };

  static Item ItemOf(std::string_view line, bool quotes);
  Result<> Open();
  Result<> LookThrough();
  Result<Item> ReadItem();
  void Advance();
  void ReportFailure(const String& why);
  void ReportSkipped() const;

  const bool m_Optional;
  bool m_Quotes = true;
  bool m_Report = false;
  std::unique_ptr<TextLines> m_Lines; // null when nothing is loaded
  size_t m_LineCount = 0;
  size_t m_Skipped = 0;
  std::vector<std::string> m_Complaints; // of the first malformed lines
  std::function<void(size_t line, const char* why)> m_OnSkipped;
  String m_Problem;
  bool m_IsUnderMalformed = false;
  bool m_IsBeforeFirst = true; // SetNextSection was not called yet
  Item m_Next;                 // is delivered next
  String m_SectionName;
  size_t m_LineNumber = 0;
};

} // namespace rlib
