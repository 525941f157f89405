#include "products/JsonReader.h"

#include <algorithm>
#include <iterator>

#include <fmt/core.h>

#include "products/JsonText.h"

namespace brenic {

namespace {

using nlohmann::json;

/// Goes through a text and notes how far.
struct NotingIterator {
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  const char* m_At;
  const char** m_Read;

  reference operator*() const { return *m_At; }
  NotingIterator& operator++() {
    *m_Read = ++m_At;
    return *this;
  }
  bool operator==(const NotingIterator& other) const { return m_At == other.m_At; }
};

/// What the library says, and what it means. The first that is found counts.
struct Words {
  const char* m_Library;
  const char* m_Ours;
  bool m_IsAtEnd; // the place is where the library stopped, not where the token begins
};

constexpr Words k_Words[] = {
    {"missing closing quote", "a double quote is expected at the end of this text", false},
    {"control character", "\\n, \\t or \\u00XX is expected in place of a control character", true},
    {"ill-formed UTF-8", "UTF-8 is expected", true},
    {"after backslash", "one of \" \\ / b f n r t u is expected behind a backslash", true},
    {"hex digits", "four hexadecimal digits are expected behind \\u", true},
    {"surrogate", "a pair \\uD8XX\\uDCXX is expected for a character above U+FFFF", true},
    {"invalid number", "a digit is expected", true},
    {"number overflow", "a smaller number is expected", false},
    {"; expected end of input", "nothing more is expected behind the end of the definition", false},
    {"parsing object key", "a member's name in double quotes is expected", false},
    {"object separator", "a colon is expected", false},
    {"parsing array", "a comma or ] is expected", false},
    {"parsing object", "a comma or } is expected", false},
    {"", "a text in double quotes, a number, true, false, null, [ or { is expected", false}};

/// The library's message without what it quotes of the text.
std::string WithoutQuote(const std::string& what) {
  const size_t quote = what.find("; last read:");
  const size_t expected = what.rfind("; expected ");
  return what.substr(0, quote) +
         (quote != std::string::npos && expected != std::string::npos && expected > quote
              ? what.substr(expected)
              : "");
}

} // namespace

rlib::Result<> JsonReader::Read() {
  // The library takes a NUL byte for the end of the text, whatever follows.
  const size_t end = std::min(m_Text.find('\0'), m_Text.size());
  const bool taken = json::sax_parse(NotingIterator{m_Text.data(), &m_Read},
                                     NotingIterator{m_Text.data() + end, &m_Read}, this);
  if (taken && end != m_Text.size())
    Fail(end, "nothing more is expected behind the end of the definition, but a NUL byte stands here");
  if (m_Failure)
    return *m_Failure;
  return {};
}

bool JsonReader::parse_error(size_t position, const std::string&, const json::exception& error) {
  const std::string what = WithoutQuote(error.what());
  const Words& words = *std::find_if(std::begin(k_Words), std::end(k_Words), [&](const Words& row) {
    return what.find(row.m_Library) != std::string::npos;
  });
  const size_t stopped = std::min(position == 0 ? 0 : position - 1, m_Text.size());
  const bool ended = what.find("unexpected end of input") != std::string::npos;
  return Fail(words.m_IsAtEnd || ended ? stopped : std::min(stopped, TokenBegin()),
              words.m_Ours + std::string(ended ? ", but the text ends" : ""));
}

size_t JsonReader::TokenBegin() const {
  size_t begin = m_LastEnd;
  if (begin == 0 && m_Text.starts_with("\xef\xbb\xbf")) // a byte order mark is skipped
    begin = 3;
  return std::min(m_Text.find_first_not_of(" \t\r\n,:", begin), m_Text.size());
}

bool JsonReader::Done() {
  m_LastEnd = static_cast<size_t>(m_Read - m_Text.data());
  return true;
}

bool JsonReader::Fail(size_t offset, const std::string& reason) {
  m_Failure.emplace(PlaceIn(m_Text, offset) + ": " + reason);
  return false;
}

} // namespace brenic
