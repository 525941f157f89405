// The lines of a text or a file, one after the other.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "Descriptor.h"
#include "rlib/Result.h"

namespace rlib {

/// Reads lines in memory that is bounded by the longest line allowed. Not for use by several threads at once.
class TextLines {
public:
  /// Of a text, of which a copy is kept.
  TextLines(std::string_view text, size_t maxLine);
  /// Of a file that can be read from any position.
  TextLines(Descriptor file, size_t maxLine);

  /// Moves to the next line; false when there is none. Fails when the file cannot be read, begins with a mark
  /// of UTF-16, or holds a NUL byte, which no text does.
  Result<bool> Next();
  /// Before the first line again.
  void Rewind();

  /// Without line feed and carriage return at its end, the first one without a byte order mark. Only the
  /// beginning of one that is too long.
  std::string_view Line() const { return m_Line; }
  bool IsTooLong() const { return m_TooLong; }
  /// Counted from 1.
  size_t Number() const { return m_Number; }

private:
  Result<bool> Fill();
  void Take(std::string_view piece);

  const size_t m_MaxLine;
  const std::string m_Text;
  const Descriptor m_File;
  const std::unique_ptr<char[]> m_Chunk;
  off_t m_Position = 0;    // of what is read next
  std::string_view m_Rest; // read, and not yet part of a line
  std::string m_Line;
  size_t m_Number = 0;
  bool m_TooLong = false;
};

} // namespace rlib
