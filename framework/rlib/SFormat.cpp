#include "rlib/SFormat.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>

namespace rlib {
namespace {

using Kind = FormatArg::Kind;

struct Directive {
  bool m_Left = false;
  bool m_Plus = false;
  bool m_Space = false;
  bool m_Alternative = false;
  bool m_Zero = false;
  int m_Width = 0;
  int m_Precision = -1;
  char m_Conversion = 0;
  size_t m_Size = 0; // without the '%'
};

bool IsInteger(Kind kind) {
  return kind == Kind::k_Signed || kind == Kind::k_Unsigned || kind == Kind::k_Bool || kind == Kind::k_Char;
}

bool IsOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

/// Takes the digits off the front of the text, 0 when there are none; no value when the number is too large.
std::optional<int> TakeNumber(std::string_view& text) {
  int number = 0;
  for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; text.remove_prefix(1)) {
    number = number * 10 + (text.front() - '0');
    if (number > k_MaxFormatWidth)
      return std::nullopt;
  }
  return number;
}

bool SetFlag(Directive& directive, char c) {
  switch (c) {
  case '-':
    return directive.m_Left = true;
  case '+':
    return directive.m_Plus = true;
  case ' ':
    return directive.m_Space = true;
  case '#':
    return directive.m_Alternative = true;
  case '0':
    return directive.m_Zero = true;
  default:
    return false;
  }
}

/// The directive at the front of the text, behind its '%'; no value when it is not one that is known.
std::optional<Directive> ReadDirective(const std::string_view text) {
  std::string_view rest = text;
  Directive directive;
  while (!rest.empty() && SetFlag(directive, rest.front()))
    rest.remove_prefix(1);
  const std::optional<int> width = TakeNumber(rest);
  if (!width)
    return std::nullopt;
  directive.m_Width = *width;
  if (rest.starts_with('.')) {
    rest.remove_prefix(1);
    const std::optional<int> precision = TakeNumber(rest);
    if (!precision)
      return std::nullopt;
    directive.m_Precision = *precision;
  }
  rest.remove_prefix(std::min(rest.find_first_not_of("hljztLq"), rest.size()));
  if (rest.empty() || !IsOneOf(rest.front(), "diuxXocsfFeEgGaAp"))
    return std::nullopt;
  directive.m_Conversion = rest.front();
  directive.m_Size = text.size() - rest.size() + 1;
  return directive;
}

int64_t SignedValue(const FormatArg& arg) {
  return static_cast<int64_t>(arg.Bits());
}

uint64_t OwnSizeBits(const FormatArg& arg) {
  return arg.Bytes() >= 8 ? arg.Bits() : arg.Bits() & ((uint64_t{1} << (8 * arg.Bytes())) - 1);
}

template <typename Number>
std::string Digits(Number value, int base = 10) {
  char buffer[72];
  return {buffer, std::to_chars(buffer, buffer + sizeof(buffer), value, base).ptr};
}

void Pad(std::string& out, std::string_view text, int width, bool left) {
  const size_t fill = static_cast<size_t>(width) > text.size() ? static_cast<size_t>(width) - text.size() : 0;
  if (!left)
    out.append(fill, ' ');
  out.append(text);
  if (left)
    out.append(fill, ' ');
}

std::string NaturalText(const FormatArg& arg) {
  switch (arg.GetKind()) {
  case Kind::k_Signed:
    return Digits(SignedValue(arg));
  case Kind::k_Unsigned:
    return Digits(arg.Bits());
  case Kind::k_Bool:
    return arg.Bits() ? "true" : "false";
  case Kind::k_Char:
    return std::string(1, static_cast<char>(arg.Bits()));
  case Kind::k_Pointer:
    return "0x" + Digits(arg.Bits(), 16);
  case Kind::k_Double: {
    char buffer[64];
    return {buffer, std::to_chars(buffer, buffer + sizeof(buffer), arg.Real()).ptr};
  }
  case Kind::k_Text:
    return std::string(arg.Text());
  }
  return {};
}

void PutInteger(std::string& out, const Directive& directive, const FormatArg& arg) {
  const bool isSigned = IsOneOf(directive.m_Conversion, "di");
  const bool negative = isSigned && arg.GetKind() == Kind::k_Signed && SignedValue(arg) < 0;
  const int base = IsOneOf(directive.m_Conversion, "xX") ? 16 : directive.m_Conversion == 'o' ? 8 : 10;
  const uint64_t value = negative ? 0 - arg.Bits() : isSigned ? arg.Bits() : OwnSizeBits(arg);

  std::string digits = value == 0 && directive.m_Precision == 0 ? "" : Digits(value, base);
  std::string prefix;
  if (isSigned)
    prefix = negative ? "-" : directive.m_Plus ? "+" : directive.m_Space ? " " : "";
  if (base == 16 && directive.m_Alternative && value != 0)
    prefix = "0x";
  if (base == 8 && directive.m_Alternative && (digits.empty() || digits.front() != '0'))
    digits.insert(0, 1, '0');
  if (static_cast<int>(digits.size()) < directive.m_Precision)
    digits.insert(0, static_cast<size_t>(directive.m_Precision) - digits.size(), '0');
  const size_t used = prefix.size() + digits.size();
  if (directive.m_Zero && !directive.m_Left && directive.m_Precision < 0 &&
      used < static_cast<size_t>(directive.m_Width))
    digits.insert(0, static_cast<size_t>(directive.m_Width) - used, '0');
  std::string text = prefix + digits;
  if (directive.m_Conversion == 'X')
    for (char& c : text)
      if (c >= 'a' && c <= 'z')
        c = static_cast<char>(c - 'a' + 'A');
  Pad(out, text, directive.m_Width, directive.m_Left);
}

void PutReal(std::string& out, const Directive& directive, double value) {
  std::string spec = "%";
  if (directive.m_Left)
    spec += '-';
  if (directive.m_Plus)
    spec += '+';
  if (directive.m_Space)
    spec += ' ';
  if (directive.m_Alternative)
    spec += '#';
  if (directive.m_Zero)
    spec += '0';
  spec += "*.*";
  spec += directive.m_Conversion;
  const int size = std::snprintf(nullptr, 0, spec.c_str(), directive.m_Width, directive.m_Precision, value);
  if (size < 0)
    return;
  const size_t start = out.size();
  out.resize(start + static_cast<size_t>(size) + 1);
  std::snprintf(out.data() + start, static_cast<size_t>(size) + 1, spec.c_str(), directive.m_Width,
                directive.m_Precision, value);
  out.pop_back();
}

void PutArgument(std::string& out, const Directive& directive, const FormatArg& arg) {
  const char conversion = directive.m_Conversion;
  if (IsOneOf(conversion, "diuxXo") && IsInteger(arg.GetKind()))
    return PutInteger(out, directive, arg);
  if (IsOneOf(conversion, "fFeEgGaA") && arg.GetKind() == Kind::k_Double)
    return PutReal(out, directive, arg.Real());
  std::string text = conversion == 'c' && IsInteger(arg.GetKind())
                         ? std::string(1, static_cast<char>(arg.Bits()))
                         : NaturalText(arg);
  if (conversion == 's' && directive.m_Precision >= 0 &&
      static_cast<size_t>(directive.m_Precision) < text.size())
    text.resize(static_cast<size_t>(directive.m_Precision));
  Pad(out, text, directive.m_Width, directive.m_Left);
}

} // namespace

String FormatArguments(const String& format, const FormatArg* args, size_t count) {
  std::string_view rest = format;
  std::string out;
  size_t used = 0;
  for (;;) {
    const size_t percent = std::min(rest.find('%'), rest.size());
    out.append(rest.substr(0, percent));
    rest.remove_prefix(percent);
    if (rest.empty())
      break;
    rest.remove_prefix(1);
    if (rest.starts_with('%')) {
      out += '%';
      rest.remove_prefix(1);
    } else if (const auto directive = used < count ? ReadDirective(rest) : std::nullopt) {
      PutArgument(out, *directive, args[used++]);
      rest.remove_prefix(directive->m_Size);
    } else {
      out += '%'; // The rest of it follows as ordinary text.
    }
  }
  return String(std::move(out));
}

} // namespace rlib
