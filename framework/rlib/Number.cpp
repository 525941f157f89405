#include "rlib/Number.h"

#include <charconv>
#include <cmath>

namespace rlib {
namespace {

template <typename Number>
bool ParseWhole(std::string_view text, Number& value) {
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-')
      return false;
  }
  Number parsed{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, parsed);
  if (error != std::errc() || stop != end)
    return false;
  value = parsed;
  return true;
}

} // namespace

bool ParseInt32(std::string_view text, int32_t& value) {
  return ParseWhole(text, value);
}

bool ParseDouble(std::string_view text, double& value) {
  double parsed = 0;
  if (!ParseWhole(text, parsed) || !std::isfinite(parsed))
    return false;
  value = parsed;
  return true;
}

} // namespace rlib
