#include "rlib/IniFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/stat.h>

#include "Descriptor.h"
#include "rlib/Escape.h"
#include "rlib/Exception.h"
#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/SFormat.h"
#include "rlib/Stream.h"

namespace rlib {
namespace {

constexpr std::string_view k_Space = " \t\r\v\f";

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(k_Space);
  if (first == std::string_view::npos)
    return {};
  return text.substr(first, text.find_last_not_of(k_Space) - first + 1);
}

/// Size of the quoted text at the start, both quotes included; 0 when there is none or it has no end.
size_t QuotedSize(std::string_view text) {
  if (!text.starts_with('"'))
    return 0;
  for (size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"')
      return i + 1;
    if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\'))
      ++i;
  }
  return 0;
}

std::string Unquoted(std::string_view quoted) {
  const std::string_view inner = quoted.substr(1, quoted.size() - 2);
  std::string text;
  text.reserve(inner.size());
  for (size_t i = 0; i < inner.size(); ++i) {
    if (inner[i] == '\\' && i + 1 < inner.size() && (inner[i + 1] == '"' || inner[i + 1] == '\\'))
      ++i;
    text += inner[i];
  }
  return text;
}

} // namespace

bool IniFile::Load(bool quotes, bool report) {
  Clear();
  if (const Result<> read = ReadFile(quotes, report); !read) {
    Clear();
    if (report) {
      NoteInputFailure();
      Report(Log::k_Error, "Cannot read options file '" + FileName() + "': " + read.Reason());
    }
    return false;
  }
  if (report && m_Skipped > 0)
    stdErr.PutLine(SFormat("Options file '%s': skipped %u %s that could not be understood, see the log",
                           EscapeControls(FileName()), m_Skipped, m_Skipped == 1 ? "line" : "lines"));
  return true;
}

Result<> IniFile::ReadFile(bool quotes, bool report) {
  if (FileName().empty())
    return Failure("no file name was given");
  // Not to wait for somebody who writes into a FIFO.
  const Descriptor file(open(FileName().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file && errno == ENOENT && m_Optional)
    return {};
  struct stat status {};
  if (!file || fstat(file.Get(), &status) != 0)
    return Failure(ErrorText(errno));
  if (S_ISDIR(status.st_mode))
    return Failure("it is a folder");
  if (!S_ISREG(status.st_mode))
    return Failure("it is not a regular file");
  return ReadLines([&file](char* buffer, size_t size) { return ReadSome(file.Get(), buffer, size); }, quotes,
                   report);
}

void IniFile::LoadText(std::string_view text, bool quotes) {
  Clear();
  const auto read = [&text](char* buffer, size_t size) {
    const size_t taken = text.copy(buffer, size);
    text.remove_prefix(taken);
    return Result<size_t>(taken);
  };
  static_cast<void>(ReadLines(read, quotes, false)); // A text can always be read.
}

void IniFile::Clear() {
  m_Text.clear();
  m_Items.clear();
  m_Line = m_Skipped = m_NextItem = m_NextText = 0;
  m_SectionName = String();
}

/// Splits what read() gives into lines, in memory bounded by the longest line allowed.
template <typename Read>
Result<> IniFile::ReadLines(Read read, bool quotes, bool report) {
  constexpr size_t k_ChunkSize = 64 << 10;
  const auto chunk = std::make_unique_for_overwrite<char[]>(k_ChunkSize);
  std::string line;
  bool tooLong = false;
  const auto take = [&] {
    if (line.ends_with('\r'))
      line.pop_back();
    TakeLine(line, tooLong || line.size() > k_MaxLine, quotes, report);
    line.clear();
    tooLong = false;
  };
  for (;;) {
    const Result<size_t> got = read(chunk.get(), k_ChunkSize);
    if (!got)
      return got.Why();
    if (*got == 0)
      break;
    std::string_view rest(chunk.get(), *got);
    while (!rest.empty()) {
      const size_t end = rest.find('\n');
      const std::string_view piece = rest.substr(0, end);
      // One more than allowed for the carriage return of CRLF.
      tooLong = tooLong || line.size() + piece.size() > k_MaxLine + 1;
      if (!tooLong)
        line.append(piece);
      if (end == std::string_view::npos)
        break;
      rest.remove_prefix(end + 1);
      take();
    }
  }
  if (!line.empty() || tooLong)
    take();
  return {};
}

void IniFile::TakeLine(std::string_view line, bool tooLong, bool quotes, bool report) {
  ++m_Line;
  if (tooLong)
    return Skip("it is longer than 1 MiB", report);
  if (m_Line == 1 && line.starts_with("\xef\xbb\xbf"))
    line.remove_prefix(3);
  line = Trimmed(line);
  if (line.empty() || line.front() == ';' || line.front() == '#')
    return;

  if (line.front() == '[') {
    const bool ended = line.back() == ']';
    const std::string_view section = ended ? Trimmed(line.substr(1, line.size() - 2)) : std::string_view();
    // What follows a malformed header does not belong to the section before it.
    Add(true, section, {});
    if (section.empty())
      Skip(ended ? "the section has no name" : "the section header has no end", report);
    return;
  }

  const size_t quotedName = quotes ? QuotedSize(line) : 0;
  const std::string_view behindName = Trimmed(line.substr(quotedName));
  const size_t equals = behindName.find('=');
  if (equals == std::string_view::npos || (quotedName > 0 && equals != 0))
    return Skip("it is neither section, pair nor comment", report);
  const std::string name = quotedName > 0 ? Unquoted(line.substr(0, quotedName))
                                          : std::string(Trimmed(behindName.substr(0, equals)));
  if (name.empty())
    return Skip("the name is empty", report);
  const std::string_view value = Trimmed(behindName.substr(equals + 1));
  if (quotes && QuotedSize(value) == value.size() && !value.empty())
    return Add(false, name, Unquoted(value));
  Add(false, name, value);
}

void IniFile::Skip(const char* reason, bool report) {
  ++m_Skipped;
  if (report)
    LogWarning(SFormat("Options file '%s', line %u skipped: %s", FileName(), m_Line, reason));
}

void IniFile::Add(bool isSection, std::string_view name, std::string_view value) {
  static_assert(k_MaxLine < std::numeric_limits<uint32_t>::max());
  if (m_Items.empty() && !isSection)
    m_Items.push_back({0, 0, true});
  m_Items.push_back({static_cast<uint32_t>(name.size()), static_cast<uint32_t>(value.size()), isSection});
  m_Text.append(name).append(value);
}

bool IniFile::SetNextSection() {
  for (; m_NextItem < m_Items.size(); ++m_NextItem) {
    const Item& item = m_Items[m_NextItem];
    if (item.m_IsSection) {
      m_SectionName = String(m_Text.substr(m_NextText, item.m_NameSize));
      m_NextText += item.m_NameSize;
      ++m_NextItem;
      return true;
    }
    m_NextText += item.m_NameSize + item.m_ValueSize;
  }
  m_SectionName = String();
  return false;
}

bool IniFile::GetNextValue(String& name, String& value) {
  // Before the first SetNextSection the next item is a header.
  if (m_NextItem >= m_Items.size() || m_Items[m_NextItem].m_IsSection)
    return false;
  const Item& item = m_Items[m_NextItem++];
  name = String(m_Text.substr(m_NextText, item.m_NameSize));
  value = String(m_Text.substr(m_NextText + item.m_NameSize, item.m_ValueSize));
  m_NextText += item.m_NameSize + item.m_ValueSize;
  return true;
}

} // namespace rlib
