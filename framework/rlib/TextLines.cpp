#include "TextLines.h"

#include <cerrno>
#include <unistd.h>

#include "rlib/Exception.h"
#include "rlib/SFormat.h"

namespace rlib {
namespace {

constexpr size_t k_ChunkSize = 64 << 10;

} // namespace

TextLines::TextLines(std::string_view text, size_t maxLine) : m_MaxLine(maxLine), m_Text(text) {
  Rewind();
}

TextLines::TextLines(Descriptor file, size_t maxLine)
    : m_MaxLine(maxLine), m_File(std::move(file)),
      m_Chunk(std::make_unique_for_overwrite<char[]>(k_ChunkSize)) {}

void TextLines::Rewind() {
  m_Position = 0;
  m_Rest = m_File ? std::string_view() : m_Text;
  m_Line.clear();
  m_Number = 0;
  m_TooLong = false;
}

/// Reads on when all that was read is used up; false at the end.
Result<bool> TextLines::Fill() {
  if (!m_Rest.empty() || !m_File)
    return !m_Rest.empty();
  ssize_t got = 0;
  do
    got = pread(m_File.Get(), m_Chunk.get(), k_ChunkSize, m_Position);
  while (got < 0 && errno == EINTR);
  if (got < 0)
    return Failure(ErrorText(errno));
  m_Position += got;
  m_Rest = {m_Chunk.get(), static_cast<size_t>(got)};
  return got > 0;
}

void TextLines::Take(std::string_view piece) {
  // One more than allowed for the carriage return of CRLF.
  const size_t room = m_MaxLine + 1 - m_Line.size();
  m_TooLong = m_TooLong || piece.size() > room;
  m_Line.append(piece.substr(0, room));
}

Result<bool> TextLines::Next() {
  m_Line.clear();
  m_TooLong = false;
  Result<bool> filled = Fill();
  if (!filled || !*filled)
    return filled;
  if (++m_Number == 1 && (m_Rest.starts_with("\xff\xfe") || m_Rest.starts_with("\xfe\xff")))
    return Failure("it begins with a UTF-16 mark; save it as UTF-8");
  for (bool ended = false; !ended && *filled;) {
    const size_t end = m_Rest.find('\n');
    const std::string_view piece = m_Rest.substr(0, end);
    ended = end != std::string_view::npos;
    if (piece.find('\0') != std::string_view::npos)
      return Failure(SFormat("line %u holds a NUL byte, which no text does", m_Number));
    Take(piece);
    m_Rest.remove_prefix(piece.size() + (ended ? 1 : 0));
    if (!ended && !(filled = Fill()))
      return filled;
  }
  if (m_Number == 1 && m_Line.starts_with("\xef\xbb\xbf"))
    m_Line.erase(0, 3);
  if (m_Line.ends_with('\r'))
    m_Line.pop_back();
  m_TooLong = m_TooLong || m_Line.size() > m_MaxLine;
  return true;
}

} // namespace rlib
