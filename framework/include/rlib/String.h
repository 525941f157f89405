// The text type of the system.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace rlib {

/// A sequence of bytes, usually UTF-8. A value like std::string; it may hold NUL bytes.
/// Ordering and equality are by unsigned byte; what ignores case ignores that of ASCII letters only.
class String {
public:
  constexpr String() = default;
  /// A null pointer gives the empty text.
  String(const char* text) : m_Text(text ? text : "") {}
  String(const char* text, size_t length) : m_Text(text, length) {}
  String(std::string text) : m_Text(std::move(text)) {}
  String(std::string_view text) : m_Text(text) {}

  const char* c_str() const { return m_Text.c_str(); }
  size_t size() const { return m_Text.size(); }
  bool empty() const { return m_Text.empty(); }
  const std::string& str() const { return m_Text; }
  operator std::string_view() const { return m_Text; }

  String& operator+=(const String& other) {
    m_Text += other.m_Text;
    return *this;
  }
  String& operator+=(char c) {
    m_Text += c;
    return *this;
  }

  /// Negative, 0 or positive like strcmp, ignoring case; 0 means equal.
  int CompareNoCase(const String& other) const;

  /// True for "1", "true", "yes" and "on" in any case; false for every other text.
  bool Bool() const;

  /// Ordering that ignores case, for ordered containers.
  struct ciless {
    bool operator()(const String& a, const String& b) const { return a.CompareNoCase(b) < 0; }
  };

  /// The empty text. Initialised before any dynamic initialiser runs.
  static const String Null;

  friend String operator+(const String& a, const String& b) {
    String sum;
    sum.m_Text.reserve(a.size() + b.size());
    sum.m_Text.append(a.m_Text).append(b.m_Text);
    return sum;
  }
  friend String operator+(String&& a, const String& b) { return std::move(a += b); }
  friend bool operator==(const String& a, const String& b) { return a.m_Text == b.m_Text; }
  friend bool operator==(const String& a, const char* b) { return a.m_Text == std::string_view(b ? b : ""); }
  friend std::strong_ordering operator<=>(const String& a, const String& b) {
    return a.m_Text.compare(b.m_Text) <=> 0;
  }

private:
  std::string m_Text;
};

std::ostream& operator<<(std::ostream& out, const String& text);

/// The empty text, for parameters. Initialised before any dynamic initialiser runs.
extern const String k_Empty;

} // namespace rlib

template <>
struct std::hash<rlib::String> {
  size_t operator()(const rlib::String& text) const noexcept { return std::hash<std::string>()(text.str()); }
};
