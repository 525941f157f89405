#include "rlib/Escape.h"

#include "rlib/SFormat.h"
#include "rlib/Utf8.h"

namespace rlib {
namespace {

constexpr char k_Digits[] = "0123456789abcdef";

/// The character at the beginning of a text, as far as that matters here.
struct Beginning {
  size_t m_Bytes;
  unsigned m_Code; // k_Other for all that is harmless
};

constexpr unsigned k_Other = 'x';

/// Every character that matters has one, two or three bytes. A byte of 0x80 to 0x9f that is part of no
/// character is itself a control character to some terminals.
Beginning Begin(std::string_view text) {
  const auto at = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
  const auto continues = [&](size_t i) { return at(i) >> 6 == 2; };
  const unsigned lead = at(0);
  if (lead < 0xc2)
    return {1, lead < 0xa0 ? lead : k_Other};
  if (lead < 0xe0 && continues(1))
    return {2, (lead & 0x1f) << 6 | (at(1) & 0x3f)};
  if (lead >= 0xe0 && lead < 0xf0 && continues(1) && continues(2) && (lead != 0xe0 || at(1) >= 0xa0))
    return {3, (lead & 0x0f) << 12 | (at(1) & 0x3f) << 6 | (at(2) & 0x3f)};
  if (lead >= 0xf0 && lead < 0xf5 && continues(1) && continues(2) && continues(3) &&
      (lead != 0xf0 || at(1) >= 0x90))
    return {4, k_Other};
  return {1, k_Other};
}

bool IsControl(unsigned code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

bool IsToBeEscaped(unsigned code) {
  return IsControl(code) || (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

/// The text with `escape(out, bytes, code)` in place of each character that must not be shown.
template <typename Escape>
std::string Escaped(std::string_view text, Escape escape) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Beginning beginning = Begin(text);
    const std::string_view bytes = text.substr(0, beginning.m_Bytes);
    if (IsToBeEscaped(beginning.m_Code))
      escape(out, bytes, beginning.m_Code);
    else
      out.append(bytes);
    text.remove_prefix(beginning.m_Bytes);
  }
  return out;
}

} // namespace

String EscapeControls(const String& text) {
  return Escaped(text.str(), [](std::string& out, std::string_view bytes, unsigned code) {
    if (code == '\n' || code == '\t' || code == '\r') {
      out.append({'\\', code == '\n' ? 'n' : code == '\t' ? 't' : 'r'});
      return;
    }
    for (const char c : bytes) {
      const auto byte = static_cast<unsigned char>(c);
      out.append("\\x").append({k_Digits[byte >> 4], k_Digits[byte & 15]});
    }
  });
}

std::string EscapeControlsInJson(std::string_view json) {
  return Escaped(json, [](std::string& out, std::string_view, unsigned code) {
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
      out += k_Digits[code >> shift & 15];
  });
}

bool HoldsControls(std::string_view text) {
  while (!text.empty()) {
    const Beginning beginning = Begin(text);
    if (IsControl(beginning.m_Code))
      return true;
    text.remove_prefix(beginning.m_Bytes);
  }
  return false;
}

String Excerpt(const String& text) {
  constexpr size_t k_Most = 64;
  std::string_view rest = Utf8Beginning(text, k_Most);
  const bool isCut = rest.size() < text.size();
  String shown;
  while (!rest.empty()) {
    const auto character = FirstCharacter(rest);
    const String part(rest.substr(0, character ? character->m_Bytes : 1));
    rest.remove_prefix(part.size());
    if (!character)
      shown += SFormat("\\x%02x", static_cast<unsigned char>(part.c_str()[0]));
    else if (!HoldsControls(part) && IsInvisible(character->m_Code))
      shown += SFormat("\\u{%x}", static_cast<unsigned>(character->m_Code));
    else
      shown += EscapeControls(part);
  }
  return isCut ? shown + "..." : shown;
}

} // namespace rlib
