#include "rlib/StringTokenizer.h"

namespace rlib {

StringTokenizer::StringTokenizer(const String& text, char separator, bool keepEmpty, char quote, char escape)
    : m_Text(text), m_Separator(separator), m_KeepEmpty(keepEmpty), m_Quote(quote), m_Escape(escape) {}

std::optional<String> StringTokenizer::GetNext() {
  const std::string& text = m_Text.str();
  while (!m_Done) {
    std::string token;
    bool quoted = false;
    bool sawQuote = false;
    for (m_Done = true; m_Next < text.size(); ++m_Next) {
      const char c = text[m_Next];
      if (m_Escape != '\0' && c == m_Escape && m_Next + 1 < text.size()) {
        token += text[++m_Next];
      } else if (m_Quote != '\0' && c == m_Quote) {
        quoted = !quoted;
        sawQuote = true;
      } else if (c == m_Separator && !quoted) {
        ++m_Next;
        m_Done = false;
        break;
      } else {
        token += c;
      }
    }
    if (m_KeepEmpty || sawQuote || !token.empty())
      return String(std::move(token));
  }
  return std::nullopt;
}

} // namespace rlib
