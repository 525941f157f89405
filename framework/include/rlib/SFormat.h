// Formatting as printf does, safe with any format and any argument.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "rlib/String.h"

namespace rlib {

/// One argument of SFormat. Refers to the text that it was made from; lives only during the call.
class FormatArg {
public:
  enum class Kind { k_Signed, k_Unsigned, k_Bool, k_Char, k_Double, k_Pointer, k_Text };

  FormatArg(bool value) : m_Kind(Kind::k_Bool), m_Bytes(1), m_Unsigned(value) {}
  FormatArg(char value) : m_Kind(Kind::k_Char), m_Bytes(1), m_Unsigned(static_cast<unsigned char>(value)) {}
  template <typename T>
  requires(std::integral<T> || std::is_enum_v<T>) FormatArg(T value)
      : m_Kind(static_cast<T>(-1) < static_cast<T>(0) ? Kind::k_Signed : Kind::k_Unsigned),
        m_Bytes(sizeof(T)), m_Unsigned(static_cast<uint64_t>(value)) {}
  FormatArg(double value) : m_Kind(Kind::k_Double), m_Double(value) {}
  FormatArg(float value) : FormatArg(static_cast<double>(value)) {}
  FormatArg(const void* value)
      : m_Kind(Kind::k_Pointer), m_Bytes(sizeof(value)), m_Unsigned(reinterpret_cast<uintptr_t>(value)) {}
  /// A null pointer is shown as "(null)".
  FormatArg(const char* text) : m_Kind(Kind::k_Text), m_Text(text ? text : "(null)") {}
  FormatArg(const String& text) : m_Kind(Kind::k_Text), m_Text(text) {}
  FormatArg(const std::string& text) : m_Kind(Kind::k_Text), m_Text(text) {}
  FormatArg(std::string_view text) : m_Kind(Kind::k_Text), m_Text(text) {}

  Kind GetKind() const { return m_Kind; }
  /// Integer value; two's complement when signed.
  uint64_t Bits() const { return m_Unsigned; }
  /// Size of the integer type that the argument was given as.
  unsigned Bytes() const { return m_Bytes; }
  double Real() const { return m_Double; }
  std::string_view Text() const { return m_Text; }

private:
  Kind m_Kind;
  unsigned m_Bytes = 0;
  uint64_t m_Unsigned = 0;
  double m_Double = 0;
  std::string_view m_Text;
};

/// Widths and precisions up to this are honoured; a directive that asks for more is written as it stands.
constexpr int k_MaxFormatWidth = 4096;

String FormatArguments(const String& format, const FormatArg* args, size_t count);

/// printf over typed arguments: flags (- + space # 0), width, precision, and the directives
/// d i u x X o c s f F e E g G a A p %. Length modifiers are accepted and mean nothing: an argument knows
/// its own size, and d, i and u show its value (u, x, X and o show negative numbers in the two's
/// complement of the argument's own size).
/// An argument of another kind than its directive asks for is written as text, with the directive's width
/// (numbers in decimal, truth values as "true" or "false").
/// %n, *, positional (%1$d) and unknown directives, and directives without an argument left, are written as
/// they stand and consume no argument; arguments left over are ignored. Thus no format, whatever its
/// origin, reads or writes memory.
template <typename... Args>
String SFormat(const String& format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg(false)};
  return FormatArguments(format, list, sizeof...(args));
}

} // namespace rlib
