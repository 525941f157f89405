// Log lines that somebody else can cause.
#pragma once

#include <chrono>

#include "brenic/Types.h"

namespace brenic::master {

/// Lets so many of them through in a minute, and says how many it left out. Used by one thread.
class LineLimit {
public:
  /// `about` completes "37 more lines ... were left out".
  LineLimit(int perMinute, const char* about) : m_PerMinute(perMinute), m_About(about) {}

  /// As a warning.
  void Log(const String& line);

private:
  const int m_PerMinute;
  const char* const m_About;
  std::chrono::steady_clock::time_point m_Minute; // when it began
  int m_Lines = 0;                                // since then
};

} // namespace brenic::master
