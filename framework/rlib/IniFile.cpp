#include "rlib/IniFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "Descriptor.h"
#include "TextLines.h"
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

bool IsComment(std::string_view text) {
  return text.starts_with(';') || text.starts_with('#');
}

/// The section's name in a header line; no value when the header has no end.
std::optional<std::string_view> SectionName(std::string_view line) {
  for (size_t end = line.find(']'); end != std::string_view::npos; end = line.find(']', end + 1)) {
    const std::string_view behind = Trimmed(line.substr(end + 1));
    if (behind.empty() || IsComment(behind))
      return Trimmed(line.substr(1, end - 1));
    if (behind.starts_with('['))
      break; // two headers in one line
  }
  return std::nullopt;
}

/// Where the '=' stands behind a name that begins with a quote and ends with one; npos where it is no such
/// name.
size_t EqualsBehindQuotes(std::string_view line) {
  if (!line.starts_with('"'))
    return std::string_view::npos;
  for (size_t end = line.find('"', 1); end != std::string_view::npos; end = line.find('"', end + 1)) {
    const size_t next = line.find_first_not_of(k_Space, end + 1);
    if (next != std::string_view::npos && line[next] == '=')
      return next;
  }
  return std::string_view::npos;
}

std::string_view Unquoted(std::string_view text) {
  return text.size() >= 2 && text.starts_with('"') && text.ends_with('"') ? text.substr(1, text.size() - 2)
                                                                          : text;
}

} // namespace

IniFile::IniFile(bool optional) : m_Optional(optional) {}

IniFile::~IniFile() = default;

bool IniFile::Load(bool quotes, bool report) {
  m_Quotes = quotes;
  m_Report = report;
  const Result<> opened = Open();
  const Result<> read = LookThrough();
  if (!opened || !read)
    ReportFailure((opened ? read : opened).Reason());
  else if (report && m_Skipped > 0)
    ReportSkipped();
  return opened && read;
}

bool IniFile::LoadText(std::string_view text, bool quotes) {
  m_Quotes = quotes;
  m_Report = false;
  m_Lines = std::make_unique<TextLines>(text, k_MaxLine);
  const Result<> read = LookThrough();
  if (!read)
    ReportFailure(read.Reason());
  return static_cast<bool>(read);
}

Result<> IniFile::Open() {
  m_Lines.reset();
  if (FileName().empty())
    return Failure("no file name was given");
  // Not to wait for somebody who writes into a FIFO.
  Descriptor file(open(FileName().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file && errno == ENOENT && m_Optional) {
    m_Lines = std::make_unique<TextLines>("", k_MaxLine);
    return {};
  }
  struct stat status {};
  if (!file || fstat(file.Get(), &status) != 0)
    return Failure(ErrorText(errno));
  if (S_ISDIR(status.st_mode))
    return Failure("it is a folder");
  if (!S_ISREG(status.st_mode))
    return Failure("it is not a regular file");
  m_Lines = std::make_unique<TextLines>(std::move(file), k_MaxLine);
  return {};
}

/// Finds what is malformed, so that it is told before anything is delivered, and begins anew.
Result<> IniFile::LookThrough() {
  m_Skipped = 0;
  m_Complaints.clear();
  m_Problem = String();
  m_LineNumber = 0;
  m_IsUnderMalformed = false;
  m_IsBeforeFirst = true;
  m_Next = {};
  m_SectionName = String();
  if (!m_Lines)
    return {};
  for (;;) {
    const Result<Item> item = ReadItem();
    if (!item) {
      m_Skipped = 0;
      return item.Why();
    }
    if (item->m_Kind == Kind::k_End)
      break;
    if (item->m_Kind != Kind::k_Malformed)
      continue;
    if (m_Skipped++ < k_MostLogged)
      m_Complaints.push_back(SFormat("line %u skipped: %s", m_Lines->Number(), item->m_Why).str());
    if (m_OnSkipped)
      m_OnSkipped(m_Lines->Number(), item->m_Why);
  }
  m_LineCount = m_Lines->Number();
  m_Lines->Rewind();
  m_IsUnderMalformed = false;
  Advance();
  return {};
}

void IniFile::ReportSkipped() const {
  NoteInputFailure();
  for (const std::string& complaint : m_Complaints)
    LogWarning("Options file '" + FileName() + "', " + complaint);
  stdErr.PutLine(SFormat("Options file '%s': skipped %u %s that could not be understood, see the log",
                         FileName(), m_Skipped, m_Skipped == 1 ? "line" : "lines"));
}

void IniFile::ReportFailure(const String& why) {
  m_Problem = why;
  if (!m_Report)
    return;
  NoteInputFailure();
  Report(Log::k_Error, "Cannot read options file '" + FileName() + "': " + why);
}

Result<IniFile::Item> IniFile::ReadItem() {
  for (;;) {
    const Result<bool> there = m_Lines->Next();
    if (!there)
      return there.Why();
    if (!*there)
      return Item();
    const std::string_view line = Trimmed(m_Lines->Line());
    if (!m_Lines->IsTooLong() && (line.empty() || IsComment(line)))
      continue;
    Item item = m_Lines->IsTooLong() ? Item{Kind::k_Malformed, {}, {}, "it is longer than 1 MiB"}
                                     : ItemOf(line, m_Quotes);
    if (line.starts_with('['))
      m_IsUnderMalformed = item.m_Kind == Kind::k_Malformed;
    else if (m_IsUnderMalformed)
      return Item{Kind::k_Malformed, {}, {}, "the section header above it is malformed"};
    return item;
  }
}

IniFile::Item IniFile::ItemOf(std::string_view line, bool quotes) {
  const auto malformed = [](const char* why) { return Item{Kind::k_Malformed, {}, {}, why}; };
  if (line.starts_with('[')) {
    const auto section = SectionName(line);
    if (!section)
      return malformed("the section header has no end");
    if (section->empty())
      return malformed("the section has no name");
    return {Kind::k_Section, std::string(*section), {}};
  }
  const size_t behindQuotes = quotes ? EqualsBehindQuotes(line) : std::string_view::npos;
  const size_t equals = behindQuotes != std::string_view::npos ? behindQuotes : line.find('=');
  if (equals == std::string_view::npos)
    return malformed("it is neither section, pair nor comment");
  const std::string_view name = Trimmed(line.substr(0, equals));
  const std::string_view value = Trimmed(line.substr(equals + 1));
  if (name.empty())
    return malformed("the name is empty");
  return {Kind::k_Pair, std::string(quotes ? Unquoted(name) : name),
          std::string(quotes ? Unquoted(value) : value)};
}

/// The next item that is to be delivered.
void IniFile::Advance() {
  do {
    Result<Item> item = ReadItem();
    if (!item) {
      m_Next = {};
      return ReportFailure(item.Reason());
    }
    m_Next = std::move(*item);
    m_Next.m_Line = m_Lines->Number();
  } while (m_Next.m_Kind == Kind::k_Malformed);
  if (m_Next.m_Kind == Kind::k_End && m_Lines->Number() != m_LineCount)
    ReportFailure("it was changed while it was read");
}

bool IniFile::SetNextSection() {
  m_SectionName = String();
  if (std::exchange(m_IsBeforeFirst, false) && m_Next.m_Kind == Kind::k_Pair) {
    m_LineNumber = m_Next.m_Line;
    return true; // without a header
  }
  while (m_Next.m_Kind == Kind::k_Pair)
    Advance();
  if (m_Next.m_Kind == Kind::k_End)
    return false;
  m_SectionName = String(std::move(m_Next.m_Name));
  m_LineNumber = m_Next.m_Line;
  Advance();
  return true;
}

bool IniFile::GetNextValue(String& name, String& value) {
  if (m_IsBeforeFirst || m_Next.m_Kind != Kind::k_Pair)
    return false;
  name = String(std::move(m_Next.m_Name));
  value = String(std::move(m_Next.m_Value));
  m_LineNumber = m_Next.m_Line;
  Advance();
  return true;
}

} // namespace rlib
