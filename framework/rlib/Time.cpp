#include "rlib/Time.h"

#include <chrono>
#include <ctime>
#include <ostream>

#include "rlib/SFormat.h"

namespace rlib {

constinit const char* const k_DefaultDateTime = "%Y-%m-%d %H:%M:%S";

Time Time::Now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return Time(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

String Time::Format(const String& format, bool local, bool milliseconds) const {
  // Rounded down, so that times before 1970 have milliseconds that count forwards too.
  int64_t seconds = m_Milliseconds / 1000;
  int rest = static_cast<int>(m_Milliseconds % 1000);
  if (rest < 0) {
    rest += 1000;
    --seconds;
  }
  const time_t clock = static_cast<time_t>(seconds);
  std::tm parts{};
  if (!(local ? localtime_r(&clock, &parts) : gmtime_r(&clock, &parts)))
    return {};

  // strftime gives 0 for an empty result as for one that does not fit; the additional character tells them
  // apart.
  const String sentinel = format + ".";
  std::string text(sentinel.size() + 128, '\0');
  size_t size = 0;
  while ((size = std::strftime(text.data(), text.size(), sentinel.c_str(), &parts)) == 0) {
    if (text.size() > 100 * sentinel.size() + 1024)
      return {};
    text.resize(text.size() * 2);
  }
  text.resize(size - 1);
  return milliseconds ? String(std::move(text)) + SFormat(".%03d", rest) : String(std::move(text));
}

String Time::Iso8601() const {
  return Format("%Y-%m-%dT%H:%M:%S", false, true) + "Z";
}

std::ostream& operator<<(std::ostream& out, const Time& time) {
  return out << time.Iso8601();
}

} // namespace rlib
