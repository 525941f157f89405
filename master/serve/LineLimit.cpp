#include "serve/LineLimit.h"

#include <fmt/core.h>

#include "rlib/Log.h"

namespace brenic::master {

void LineLimit::Log(const String& line) {
  const auto now = std::chrono::steady_clock::now();
  if (now - m_Minute >= std::chrono::minutes(1)) {
    if (m_Lines > m_PerMinute)
      rlib::LogWarning(fmt::format("{} more lines {} were left out", m_Lines - m_PerMinute, m_About));
    m_Minute = now;
    m_Lines = 0;
  }
  if (++m_Lines <= m_PerMinute)
    rlib::LogWarning(line);
}

} // namespace brenic::master
