#include "rlib/String.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace rlib {

// clang 14 cannot initialise a std::string at compile time; there these come first among the dynamic ones.
#ifdef __clang__
#define EARLY [[gnu::init_priority(101)]]
#else
#define EARLY constinit
#endif
EARLY const String String::Null{};
EARLY const String k_Empty{};
#undef EARLY

namespace {

// The C library's tolower depends on the locale.
unsigned char Lower(char c) {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

} // namespace

int String::CompareNoCase(const String& other) const {
  const size_t common = std::min(size(), other.size());
  for (size_t i = 0; i < common; ++i) {
    const int difference = Lower(m_Text[i]) - Lower(other.m_Text[i]);
    if (difference != 0)
      return difference;
  }
  return size() == other.size() ? 0 : size() < other.size() ? -1 : 1;
}

bool String::Bool() const {
  const auto words = std::to_array<const char*>({"1", "true", "yes", "on"});
  return std::any_of(words.begin(), words.end(),
                     [this](const char* word) { return CompareNoCase(word) == 0; });
}

std::ostream& operator<<(std::ostream& out, const String& text) {
  return out << text.str();
}

} // namespace rlib
