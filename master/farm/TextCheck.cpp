#include "farm/TextCheck.h"

#include <fmt/core.h>

#include "farm/Utf8.h"
#include "rlib/Escape.h"

namespace brenic::master {

String CheckText(const String& text, size_t limit) {
  if (text.size() > limit)
    return fmt::format("{} bytes, where {} are allowed", text.size(), limit);
  if (!IsUtf8(text))
    return "it is not valid UTF-8";
  return rlib::EscapeControls(text) == text ? k_Empty : String("it holds a control character");
}

} // namespace brenic::master
