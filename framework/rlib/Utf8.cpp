#include "rlib/Utf8.h"

#include <algorithm>
#include <array>
#include <utility>

namespace rlib {

namespace {

using Range = std::pair<char32_t, char32_t>;

template <size_t k_Count>
bool IsIn(const std::array<Range, k_Count>& ranges, char32_t character) {
  return std::any_of(ranges.begin(), ranges.end(), [character](const Range& range) {
    return range.first <= character && character <= range.second;
  });
}

} // namespace

std::optional<Utf8Character> FirstCharacter(std::string_view text) {
  const auto at = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
  if (text.empty())
    return std::nullopt;
  const unsigned lead = at(0);
  if (lead < 0x80)
    return Utf8Character{lead, 1};
  const size_t length = lead >= 0xc2 && lead <= 0xdf   ? 2
                        : lead >> 4 == 0xe             ? 3
                        : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                       : 0;
  // The second byte's range excludes overlong forms, surrogates and what lies above U+10FFFF.
  const unsigned low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (length == 0 || at(1) < low || at(1) > high)
    return std::nullopt;
  char32_t code = lead & (0x7fu >> length);
  for (size_t i = 1; i < length; ++i) {
    if (at(i) >> 6 != 2)
      return std::nullopt;
    code = code << 6 | (at(i) & 0x3f);
  }
  return Utf8Character{code, length};
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto character = FirstCharacter(text);
    if (!character)
      return false;
    text.remove_prefix(character->m_Bytes);
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

bool IsSpace(char32_t character) {
  static constexpr auto k_Spaces = std::to_array<Range>({{0x20, 0x20},
                                                         {0xa0, 0xa0},
                                                         {0x1680, 0x1680},
                                                         {0x2000, 0x200a},
                                                         {0x202f, 0x202f},
                                                         {0x205f, 0x205f},
                                                         {0x3000, 0x3000}});
  return IsIn(k_Spaces, character);
}

bool IsInvisible(char32_t character) {
  static constexpr auto k_Invisible = std::to_array<Range>({
      {0x00, 0x1f},       {0x7f, 0xa0},     // controls, non-breaking space
      {0xad, 0xad},       {0x34f, 0x34f},   // soft hyphen, grapheme joiner
      {0x61c, 0x61c},     {0x115f, 0x1160}, // a mark of direction, Hangul fillers
      {0x17b4, 0x17b5},   {0x180b, 0x180f}, // Khmer inherent vowels, Mongolian selectors and separator
      {0x2007, 0x2007},   {0x200b, 0x200f}, // figure space, zero-width, marks of direction
      {0x2028, 0x202f},   {0x2060, 0x206f}, // line ends, directions, non-breaking; joiners, isolates
      {0x2800, 0x2800},   {0x3164, 0x3164}, // blank Braille, Hangul filler
      {0xfe00, 0xfe0f},   {0xfeff, 0xfeff}, // variation selectors, byte order mark
      {0xffa0, 0xffa0},   {0xfff0, 0xfffb}, // Hangul filler, annotations
      {0xe0000, 0xe0fff},                   // tags, selectors
  });
  return IsIn(k_Invisible, character);
}

} // namespace rlib
