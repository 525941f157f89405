#include "rlib/SFormat.h"

#include <charconv>
#include <cstdio>

namespace rlib {
namespace {

using Kind = FormatArg::Kind;

struct Directive {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternative = false;
  bool zero = false;
  int width = 0;
  int precision = -1;
  char conversion = 0;
};

bool IsInteger(Kind kind) {
  return kind == Kind::Signed || kind == Kind::Unsigned || kind == Kind::Bool || kind == Kind::Char;
}

bool IsOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

// Digits from the position on, 0 when there are none; false when the number is too large.
bool ReadNumber(std::string_view text, std::size_t& at, int& number) {
  number = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    number = number * 10 + (text[at] - '0');
    if (number > k_MaxFormatWidth)
      return false;
  }
  return true;
}

bool SetFlag(Directive& directive, char c) {
  switch (c) {
  case '-':
    return directive.left = true;
  case '+':
    return directive.plus = true;
  case ' ':
    return directive.space = true;
  case '#':
    return directive.alternative = true;
  case '0':
    return directive.zero = true;
  default:
    return false;
  }
}

// Reads the directive behind a '%' and moves the position past it; false when it is none of ours.
bool ReadDirective(std::string_view format, std::size_t& at, Directive& directive) {
  while (at < format.size() && SetFlag(directive, format[at]))
    ++at;
  if (!ReadNumber(format, at, directive.width))
    return false;
  if (at < format.size() && format[at] == '.') {
    ++at;
    if (!ReadNumber(format, at, directive.precision))
      return false;
  }
  while (at < format.size() && IsOneOf(format[at], "hljztLq"))
    ++at;
  if (at >= format.size() || !IsOneOf(format[at], "diuxXocsfFeEgGaAp"))
    return false;
  directive.conversion = format[at++];
  return true;
}

std::int64_t SignedValue(const FormatArg& arg) {
  return static_cast<std::int64_t>(arg.Bits());
}

std::uint64_t OwnSizeBits(const FormatArg& arg) {
  return arg.Bytes() >= 8 ? arg.Bits() : arg.Bits() & ((std::uint64_t{1} << (8 * arg.Bytes())) - 1);
}

template <class Number>
std::string Digits(Number value, int base = 10) {
  char buffer[72];
  return {buffer, std::to_chars(buffer, buffer + sizeof(buffer), value, base).ptr};
}

void Pad(std::string& out, std::string_view text, int width, bool left) {
  const std::size_t fill =
      static_cast<std::size_t>(width) > text.size() ? static_cast<std::size_t>(width) - text.size() : 0;
  if (!left)
    out.append(fill, ' ');
  out.append(text);
  if (left)
    out.append(fill, ' ');
}

std::string NaturalText(const FormatArg& arg) {
  switch (arg.GetKind()) {
  case Kind::Signed:
    return Digits(SignedValue(arg));
  case Kind::Unsigned:
    return Digits(arg.Bits());
  case Kind::Bool:
    return arg.Bits() ? "true" : "false";
  case Kind::Char:
    return std::string(1, static_cast<char>(arg.Bits()));
  case Kind::Pointer:
    return "0x" + Digits(arg.Bits(), 16);
  case Kind::Double: {
    char buffer[64];
    return {buffer, std::to_chars(buffer, buffer + sizeof(buffer), arg.Real()).ptr};
  }
  case Kind::Text:
    return std::string(arg.Text());
  }
  return {};
}

void PutInteger(std::string& out, const Directive& directive, const FormatArg& arg) {
  const bool isSigned = IsOneOf(directive.conversion, "di");
  const bool negative = isSigned && arg.GetKind() == Kind::Signed && SignedValue(arg) < 0;
  const int base = IsOneOf(directive.conversion, "xX") ? 16 : directive.conversion == 'o' ? 8 : 10;
  const std::uint64_t value = negative ? 0 - arg.Bits() : isSigned ? arg.Bits() : OwnSizeBits(arg);

  std::string digits = value == 0 && directive.precision == 0 ? "" : Digits(value, base);
  std::string prefix;
  if (isSigned)
    prefix = negative ? "-" : directive.plus ? "+" : directive.space ? " " : "";
  if (base == 16 && directive.alternative && value != 0)
    prefix = "0x";
  if (base == 8 && directive.alternative && (digits.empty() || digits.front() != '0'))
    digits.insert(0, 1, '0');
  if (static_cast<int>(digits.size()) < directive.precision)
    digits.insert(0, static_cast<std::size_t>(directive.precision) - digits.size(), '0');
  const std::size_t used = prefix.size() + digits.size();
  if (directive.zero && !directive.left && directive.precision < 0 &&
      used < static_cast<std::size_t>(directive.width))
    digits.insert(0, static_cast<std::size_t>(directive.width) - used, '0');
  std::string text = prefix + digits;
  if (directive.conversion == 'X')
    for (char& c : text)
      if (c >= 'a' && c <= 'z')
        c = static_cast<char>(c - 'a' + 'A');
  Pad(out, text, directive.width, directive.left);
}

void PutReal(std::string& out, const Directive& directive, double value) {
  std::string spec = "%";
  if (directive.left)
    spec += '-';
  if (directive.plus)
    spec += '+';
  if (directive.space)
    spec += ' ';
  if (directive.alternative)
    spec += '#';
  if (directive.zero)
    spec += '0';
  spec += "*.*";
  spec += directive.conversion;
  const int size = std::snprintf(nullptr, 0, spec.c_str(), directive.width, directive.precision, value);
  if (size < 0)
    return;
  const std::size_t start = out.size();
  out.resize(start + static_cast<std::size_t>(size) + 1);
  std::snprintf(out.data() + start, static_cast<std::size_t>(size) + 1, spec.c_str(), directive.width,
                directive.precision, value);
  out.pop_back();
}

void PutArgument(std::string& out, const Directive& directive, const FormatArg& arg) {
  const char conversion = directive.conversion;
  if (IsOneOf(conversion, "diuxXo") && IsInteger(arg.GetKind()))
    return PutInteger(out, directive, arg);
  if (IsOneOf(conversion, "fFeEgGaA") && arg.GetKind() == Kind::Double)
    return PutReal(out, directive, arg.Real());
  std::string text = conversion == 'c' && IsInteger(arg.GetKind())
                         ? std::string(1, static_cast<char>(arg.Bits()))
                         : NaturalText(arg);
  if (conversion == 's' && directive.precision >= 0 &&
      static_cast<std::size_t>(directive.precision) < text.size())
    text.resize(static_cast<std::size_t>(directive.precision));
  Pad(out, text, directive.width, directive.left);
}

} // namespace

String FormatArguments(const String& formatText, const FormatArg* args, std::size_t count) {
  const std::string_view format = formatText;
  std::string out;
  std::size_t used = 0;
  for (std::size_t at = 0; at < format.size();) {
    const std::size_t percent = std::min(format.find('%', at), format.size());
    out.append(format.substr(at, percent - at));
    at = percent;
    if (at == format.size())
      break;
    ++at;
    if (at < format.size() && format[at] == '%') {
      out += '%';
      ++at;
      continue;
    }
    std::size_t end = at;
    Directive directive;
    if (used < count && ReadDirective(format, end, directive)) {
      PutArgument(out, directive, args[used++]);
      at = end;
    } else {
      out += '%'; // The rest of it follows as ordinary text.
    }
  }
  return String(std::move(out));
}

} // namespace rlib
