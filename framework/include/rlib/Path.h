// Paths of files and folders.
#pragma once

#include <compare>
#include <iosfwd>

#include "rlib/String.h"

namespace rlib {

/// A file-system path, its text kept exactly as it was given: nothing is normalised, and it may be of another
/// platform than this one.
class Path {
public:
  Path() = default;
  Path(const char* text) : m_Text(text) {}
  Path(String text) : m_Text(std::move(text)) {}
  Path(const std::string& text) : m_Text(text) {}

  const String& str() const { return m_Text; }
  const char* c_str() const { return m_Text.c_str(); }
  size_t size() const { return m_Text.size(); }
  bool empty() const { return m_Text.empty(); }

  /// Extension of the last component ("txt", or ".txt" with the dot); empty when there is none. A leading dot
  /// (".bashrc") and a trailing one ("name.") begin no extension.
  String Extension(bool withDot = false) const;

  /// Text before the last slash: "/" for "/a", empty without a slash.
  Path Parent() const;

  /// The component inside this folder. An absolute component, or an empty folder, gives the component itself.
  Path operator/(const Path& component) const;

  friend bool operator==(const Path&, const Path&) = default;
  friend std::strong_ordering operator<=>(const Path& a, const Path& b) { return a.m_Text <=> b.m_Text; }

private:
  String m_Text;
};

std::ostream& operator<<(std::ostream& out, const Path& path);

} // namespace rlib
