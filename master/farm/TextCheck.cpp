#include "farm/TextCheck.h"

#include <fmt/core.h>

#include "farm/Utf8.h"
#include "rlib/Escape.h"

namespace brenic::master {

rlib::Result<> CheckText(const String& text, size_t limit) {
  if (text.size() > limit)
    return rlib::Failure(fmt::format("{} bytes, where {} are allowed", text.size(), limit));
  if (!IsUtf8(text))
    return rlib::Failure("it is not valid UTF-8");
  if (rlib::HoldsControls(text))
    return rlib::Failure("it holds a control character");
  return {};
}

} // namespace brenic::master
