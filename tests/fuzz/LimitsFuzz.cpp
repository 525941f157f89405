#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "UserLimitsText.h"

using rlib::String;

// The first line is a user's name, the rest the limits.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t end = std::min(input.find('\n'), size);
  const std::string user = input.substr(0, end);
  const std::string limits = end < size ? input.substr(end + 1) : "";

  const std::string with = WithLimit(limits, user, 7).str();
  const std::string without = WithoutLimit(limits, user).str();
  const std::string entry = user + "=7;";
  const size_t found = limits.find(user + "=");
  const bool isTerminated = found == std::string::npos || limits.find(';', found) != std::string::npos;

  // The two edits differ by the entry, which stands where the old one stood.
  const size_t at = std::min(found, limits.size());
  if (with.size() != without.size() + entry.size() || with.substr(0, at) != limits.substr(0, at) ||
      with.substr(at, entry.size()) != entry || without.substr(0, at) != with.substr(0, at) ||
      without.substr(at) != with.substr(at + entry.size()))
    std::abort();
  if (found == std::string::npos && without != limits)
    std::abort();
  // A complete text never grows by a removal, nor by the same change once more.
  if (isTerminated && without.size() > limits.size())
    std::abort();
  // Behind an entry that is not closed, what is added can make another entry together with its end.
  const bool isApart = found != std::string::npos || limits.empty() || limits.back() == ';';
  if (user.find(';') == std::string::npos && isTerminated && isApart &&
      WithLimit(with, user, 7).str() != with)
    std::abort();

  // A line a token.
  const auto lines = LimitLines(limits);
  if (lines.size() > static_cast<size_t>(std::count(limits.begin(), limits.end(), ';')) + 1)
    std::abort();
  if (limits.find_first_of("\"\\") == std::string::npos) {
    size_t tokens = 0;
    for (size_t i = 0; i < limits.size(); ++i)
      tokens += limits[i] != ';' && (i == 0 || limits[i - 1] == ';');
    if (lines.size() != tokens)
      std::abort();
  }
  for (const String& line : lines) {
    if (!line.str().starts_with("User: '"))
      std::abort();
  }
  return 0;
}
