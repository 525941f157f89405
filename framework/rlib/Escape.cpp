#include "rlib/Escape.h"

namespace rlib {

String EscapeControls(const String& string) {
  static constexpr char k_Digits[] = "0123456789abcdef";
  const std::string& text = string.str();
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F in UTF-8: terminals take them for controls too.
    const bool c1 = c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                    static_cast<unsigned char>(text[i + 1]) <= 0x9f;
    if (c == '\n')
      out += "\\n";
    else if (c == '\t')
      out += "\\t";
    else if (c == '\r')
      out += "\\r";
    else if (c < 0x20 || c == 0x7f)
      out.append("\\x").append({k_Digits[c >> 4], k_Digits[c & 15]});
    else if (c1) {
      const auto next = static_cast<unsigned char>(text[++i]);
      out.append("\\xc2\\x").append({k_Digits[next >> 4], k_Digits[next & 15]});
    } else
      out += static_cast<char>(c);
  }
  return String(std::move(out));
}

} // namespace rlib
