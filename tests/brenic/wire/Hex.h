// Bytes as hexadecimal text and back.
#pragma once

#include <string>
#include <string_view>

inline std::string ToHex(std::string_view bytes) {
  static constexpr char k_Digits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    text += k_Digits[static_cast<unsigned char>(c) >> 4];
    text += k_Digits[c & 15];
  }
  return text;
}

inline std::string FromHex(std::string_view text) {
  std::string bytes;
  for (size_t i = 0; i + 1 < text.size(); i += 2)
    bytes += static_cast<char>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16));
  return bytes;
}
