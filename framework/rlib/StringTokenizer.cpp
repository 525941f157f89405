#include "rlib/StringTokenizer.h"

namespace rlib {

StringTokenizer::StringTokenizer(const String& text, char separator, bool keepEmpty, char quote, char escape)
    : m_text(text), m_separator(separator), m_keepEmpty(keepEmpty), m_quote(quote), m_escape(escape) {}

std::optional<String> StringTokenizer::GetNext() {
  const std::string& text = m_text.str();
  while (!m_done) {
    std::string token;
    bool quoted = false;
    bool sawQuote = false;
    for (m_done = true; m_next < text.size(); ++m_next) {
      const char c = text[m_next];
      if (m_escape != '\0' && c == m_escape && m_next + 1 < text.size()) {
        token += text[++m_next];
      } else if (m_quote != '\0' && c == m_quote) {
        quoted = !quoted;
        sawQuote = true;
      } else if (c == m_separator && !quoted) {
        ++m_next;
        m_done = false;
        break;
      } else {
        token += c;
      }
    }
    if (m_keepEmpty || sawQuote || !token.empty())
      return String(std::move(token));
  }
  return std::nullopt;
}

} // namespace rlib
