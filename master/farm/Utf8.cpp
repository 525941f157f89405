#include "farm/Utf8.h"

namespace brenic::master {

namespace {

/// Bytes of the well-formed sequence at the beginning, 0 when there is none.
size_t SequenceLength(std::string_view text) {
  const auto at = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
  const unsigned lead = at(0);
  if (lead < 0x80)
    return 1;
  const size_t length = lead >= 0xc2 && lead <= 0xdf   ? 2
                        : lead >> 4 == 0xe             ? 3
                        : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                       : 0;
  // The second byte's range excludes overlong forms, surrogates and what lies above U+10FFFF.
  const unsigned low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (length == 0 || at(1) < low || at(1) > high)
    return 0;
  for (size_t i = 2; i < length; ++i) {
    if (at(i) >> 6 != 2)
      return 0;
  }
  return length;
}

} // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = SequenceLength(text);
    if (length == 0)
      return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string_view Utf8Beginning(std::string_view text, size_t most) {
  if (text.size() <= most)
    return text;
  while (most > 0 && static_cast<unsigned char>(text[most]) >> 6 == 2)
    --most;
  return text.substr(0, most);
}

} // namespace brenic::master
