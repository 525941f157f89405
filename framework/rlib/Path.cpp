#include "rlib/Path.h"

#include <ostream>

namespace rlib {

String Path::Extension(bool withDot) const {
  const std::string& text = m_Text.str();
  const size_t slash = text.rfind('/');
  const size_t name = slash == std::string::npos ? 0 : slash + 1;
  const size_t dot = text.rfind('.');
  if (dot == std::string::npos || dot <= name || dot + 1 == text.size())
    return {};
  if (text.find_first_not_of('.', name) > dot) // "..", "..name"
    return {};
  return String(text.substr(withDot ? dot : dot + 1));
}

Path Path::Parent() const {
  const size_t slash = m_Text.str().rfind('/');
  if (slash == std::string::npos)
    return {};
  return Path(m_Text.str().substr(0, slash == 0 ? 1 : slash));
}

Path Path::operator/(const Path& component) const {
  if (empty() || (!component.empty() && component.m_Text.str().front() == '/'))
    return component;
  return Path(m_Text + (m_Text.str().back() == '/' ? "" : "/") + component.m_Text);
}

std::ostream& operator<<(std::ostream& out, const Path& path) {
  return out << path.str();
}

} // namespace rlib
