#include "rlib/Number.h"

#include <charconv>
#include <cmath>

namespace rlib {
namespace {

template <typename Number>
std::optional<Number> ParseWhole(std::string_view text) {
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-')
      return std::nullopt;
  }
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end)
    return std::nullopt;
  return number;
}

} // namespace

std::optional<int32_t> ParseInt32(std::string_view text) {
  return ParseWhole<int32_t>(text);
}

std::optional<double> ParseDouble(std::string_view text) {
  const std::optional<double> number = ParseWhole<double>(text);
  return number && std::isfinite(*number) ? number : std::nullopt;
}

} // namespace rlib
