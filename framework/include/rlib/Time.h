// Points in time, and their text.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>

#include "rlib/String.h"

namespace rlib {

/// "%Y-%m-%d %H:%M:%S". Initialised before any dynamic initialiser runs.
extern const char* const k_DefaultDateTime;

/// A point in time: milliseconds since 1970-01-01 UTC. Zero stands for "never".
class Time {
public:
  constexpr Time() = default;
  constexpr explicit Time(int64_t milliseconds) : m_Milliseconds(milliseconds) {}

  static Time Now();

  constexpr int64_t Milliseconds() const { return m_Milliseconds; }
  constexpr bool IsZero() const { return m_Milliseconds == 0; }

  /// The time in strftime's directives, in UTC or, with local, in the machine's time zone; with milliseconds,
  /// a point and three digits follow the text. Empty when the year cannot be represented.
  String Format(const String& format = k_DefaultDateTime, bool local = false,
                bool milliseconds = false) const;

  /// UTC, "2026-01-31T12:00:00.123Z".
  String Iso8601() const;

  friend constexpr bool operator==(const Time&, const Time&) = default;
  friend constexpr std::strong_ordering operator<=>(const Time&, const Time&) = default;

private:
  int64_t m_Milliseconds = 0;
};

std::ostream& operator<<(std::ostream& out, const Time& time);

} // namespace rlib
