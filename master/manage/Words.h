// Pieces of the sentences that the commands tell.
#pragma once

#include <string>
#include <vector>

#include <fmt/format.h>

#include "brenic/Types.h"
#include "rlib/Escape.h"

namespace brenic::master {

inline constexpr int64_t k_Day = 24 * 60 * 60 * 1000; // milliseconds

/// In UTC; milliseconds since 1970-01-01.
inline std::string DateText(int64_t time) {
  return rlib::Time(time).Format("%Y-%m-%d").str();
}

/// A text of unknown origin, for people.
inline std::string Shown(const String& text) {
  return rlib::EscapeControls(text).str();
}

/// The same, shortened where it is long.
inline std::string Quoted(const String& text) {
  return "'" + rlib::Excerpt(text).str() + "'";
}

/// "a, b, c"; of many the first few: "a, b and 3000 more".
inline std::string Listed(const std::vector<std::string>& texts) {
  constexpr size_t k_Shown = 10;
  if (texts.size() <= k_Shown)
    return fmt::format("{}", fmt::join(texts, ", "));
  return fmt::format("{} and {} more", fmt::join(texts.begin(), texts.begin() + k_Shown, ", "),
                     texts.size() - k_Shown);
}

} // namespace brenic::master
