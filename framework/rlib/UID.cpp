#include "rlib/UID.h"

#include <cstring>
#include <ostream>
#include <uuid/uuid.h>

namespace rlib {

constinit const UID UID::Null{UID::Raw{}};

namespace {

bool IsDash(size_t position) {
  return position == 8 || position == 13 || position == 18 || position == 23;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

} // namespace

UID::UID(bool fresh) {
  if (fresh)
    uuid_generate_random(m_Bytes.data());
}

String UID::ToString() const {
  static constexpr char k_Digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(36);
  for (const uint8_t byte : m_Bytes) {
    if (IsDash(text.size()))
      text += '-';
    text += k_Digits[byte >> 4];
    text += k_Digits[byte & 15];
  }
  return String(std::move(text));
}

bool UID::FromString(const String& string) {
  const std::string& text = string.str();
  if (text.size() != 36)
    return false;
  Raw bytes{};
  size_t digit = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsDash(i)) {
      if (text[i] != '-')
        return false;
      continue;
    }
    const int value = HexValue(text[i]);
    if (value < 0)
      return false;
    bytes[digit / 2] = static_cast<uint8_t>(bytes[digit / 2] << 4 | value);
    ++digit;
  }
  m_Bytes = bytes;
  return true;
}

std::ostream& operator<<(std::ostream& out, const UID& uid) {
  return out << uid.ToString();
}

} // namespace rlib

size_t std::hash<rlib::UID>::operator()(const rlib::UID& uid) const noexcept {
  const std::string_view bytes(reinterpret_cast<const char*>(uid.Bytes().data()), uid.Bytes().size());
  return std::hash<std::string_view>()(bytes);
}
