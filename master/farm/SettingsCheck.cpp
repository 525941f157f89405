#include "farm/SettingsCheck.h"

#include <fmt/core.h>

#include "brenic/Options.h"
#include "farm/TextCheck.h"
#include "rlib/Escape.h"
#include "rlib/Number.h"
#include "rlib/Platform.h"
#include "wire/Contents.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

Result<> CheckMinutes(const String& text) {
  const auto minutes = rlib::ParseInt32(text);
  if (!text.empty() && (!minutes || *minutes < 0))
    return Failure("is not a whole number of minutes");
  return {};
}

/// Whether the list may exceed what a frame to a client can carry. Encodes only one that is near it.
bool IsTooLong(const rlib::vector<TranslationSet>& translations) {
  constexpr size_t k_MostAround = 32; // bytes that the encoding adds to a root or a set, at most
  size_t bytes = 0;
  for (const TranslationSet& set : translations) {
    bytes += k_MostAround;
    for (const auto& entry : set)
      bytes += entry.second.size() + k_MostAround;
  }
  return bytes > wire::k_MaxTranslations &&
         wire::EncodeTranslations(translations).size() > wire::k_MaxTranslations;
}

} // namespace

Result<> CheckOptionValue(const String& name, const String& value, bool global) {
  Result<> check = CheckText(value, !global                                 ? k_MaxValue
                                    : name.CompareNoCase(o_UserLimits) == 0 ? k_MaxUserLimits
                                    : name.CompareNoCase(o_Message) == 0    ? k_MaxMessage
                                                                            : k_MaxValue);
  if (global && name.CompareNoCase(o_DefaultIdleTimeout) == 0) {
    if (const auto minutes = CheckMinutes(value); !minutes)
      check = minutes.Why();
  }
  if (!check)
    return Failure(
        fmt::format("The value of the option '{}' {}", rlib::Excerpt(name).str(), check.Reason().str()));
  return {};
}

Failure TooManyTranslations(size_t count) {
  return Failure(
      fmt::format("There are {} translations, where {} are allowed", count, k_MaxTranslationCount));
}

Result<> CheckTranslations(const rlib::vector<TranslationSet>& translations) {
  if (translations.size() > k_MaxTranslationCount)
    return TooManyTranslations(translations.size());
  for (size_t i = 0; i < translations.size(); ++i) {
    for (const auto& [platform, root] : translations[i]) {
      if (platform < 0 || platform > 2)
        return Failure(fmt::format("translation {}: there is no platform {}", i + 1, platform));
      if (const auto check = CheckText(root.str(), k_MaxRoot); !check)
        return Failure(fmt::format("translation {}: its {} root {}", i + 1,
                                   rlib::Platform::Name(platform).str(), check.Reason().str()));
    }
  }
  if (IsTooLong(translations))
    return Failure(fmt::format("The list of path translations exceeds {} bytes", wire::k_MaxTranslations));
  return {};
}

} // namespace brenic::master
