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

} // namespace brenic::master
