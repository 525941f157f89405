#pragma once

#include <cctype>
#include <string>
#include <string_view>

// Names the test of a parameter: its place, and what of its text a name can hold.
inline std::string NumberedName(size_t place, std::string_view text) {
  constexpr size_t k_Longest = 40;
  std::string name = std::to_string(place) + "_";
  for (const char c : text.substr(0, k_Longest))
    name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
}
