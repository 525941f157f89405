#include "farm/TextCheck.h"

#include <fmt/core.h>

#include "rlib/Escape.h"
#include "rlib/Utf8.h"

namespace brenic::master {

rlib::Result<> CheckText(const String& text, size_t limit) {
  if (text.size() > limit)
    return rlib::Failure(fmt::format("has {} bytes, where {} are allowed", text.size(), limit));
  if (!rlib::IsUtf8(text))
    return rlib::Failure("is not valid UTF-8");
  if (rlib::HoldsControls(text))
    return rlib::Failure("holds a control character");
  return {};
}

rlib::Result<> CheckVisible(const String& text) {
  for (std::string_view rest = text; !rest.empty();) {
    const auto character = rlib::FirstCharacter(rest).value_or(rlib::Utf8Character{0, 1});
    if (rlib::IsInvisible(character.m_Code))
      return rlib::Failure(
          fmt::format("holds the invisible character U+{:04X}", static_cast<unsigned>(character.m_Code)));
    rest.remove_prefix(character.m_Bytes);
  }
  return {};
}

rlib::Result<> CheckName(const char* article, const char* what, const String& name) {
  if (name.empty())
    return rlib::Failure(fmt::format("The name of {} {} is empty", article, what));
  if (const auto text = CheckText(name, k_MaxName); !text)
    return rlib::Failure(
        fmt::format("The name of the {} '{}' {}", what, rlib::Excerpt(name).str(), text.Reason().str()));
  return {};
}

} // namespace brenic::master
