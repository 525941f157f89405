#include "farm/Steps.h"

#include <algorithm>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "farm/Judgement.h"
#include "farm/TextCheck.h"
#include "rlib/Escape.h"
#include "rlib/Number.h"
#include "wire/Contents.h"
#include "wire/Frames.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

size_t PieceCount(const String& text) {
  return static_cast<size_t>(std::count(text.str().begin(), text.str().end(), ';')) + 1;
}

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

void SetOption(const Farm& farm, const UID& section, const String& name, const std::optional<String>& value,
               Change& change) {
  const OptionMap& options = farm.OptionsOf(section);
  const auto current = options.find(name);
  const bool isSet = current != options.end();
  if (isSet == value.has_value() && (!isSet || current->second == *value))
    return;
  const String& kept = isSet ? current->first : name;
  const String& textBefore = isSet ? current->second : k_Empty;
  const String& textAfter = value ? *value : k_Empty;
  if (section.IsNull() && name.CompareNoCase(o_UserLimits) == 0 &&
      std::max(PieceCount(textBefore), PieceCount(textAfter)) <= k_MaxPieces)
    change.m_UserLimits =
        UserLimitsChange{kept, isSet, value.has_value(),
                         ListDifference<String>::Between(SplitPieces(textBefore), SplitPieces(textAfter))};
  else
    change.m_Options.push_back(
        {section, kept, {isSet ? std::optional(current->second) : std::nullopt, value}});
}

void SetLimit(const Farm& farm, const UID& type, std::optional<int> limit, Change& change) {
  const auto current = farm.m_Limits.find(type);
  const auto before = current != farm.m_Limits.end() ? std::optional(current->second) : std::nullopt;
  if (before != limit)
    change.m_Limits[type] = {before, limit};
}

void SetRestriction(const Farm& farm, const String& name, bool on, Change& change) {
  if (farm.m_Restrictions.contains(name) != on)
    change.m_Restrictions[name] = on;
}

void SetProduct(const Farm& farm, const UID& type, const std::optional<Customisation>& customisation,
                Change& change) {
  const auto before = farm.m_Products.CustomisationOf(type);
  if (before != customisation)
    change.m_Products[type] = {before, customisation};
}

void SetTranslations(const Farm& farm, const rlib::vector<TranslationSet>& translations, Change& change) {
  change.m_Translations = ListDifference<TranslationSet>::Between(farm.m_Translations, translations);
}

Failure TooManyTranslations(size_t count) {
  return Failure(
      fmt::format("There are {} translations, where {} are allowed", count, k_MaxTranslationCount));
}

Result<> CheckValue(const String& name, const String& value, bool isGlobal) {
  Result<> check = CheckText(value, !isGlobal                               ? k_MaxValue
                                    : name.CompareNoCase(o_UserLimits) == 0 ? k_MaxUserLimits
                                    : name.CompareNoCase(o_Message) == 0    ? k_MaxMessage
                                                                            : k_MaxValue);
  if (isGlobal && name.CompareNoCase(o_DefaultIdleTimeout) == 0) {
    if (const auto minutes = CheckMinutes(value); !minutes)
      check = minutes.Why();
  }
  if (!check)
    return Failure(
        fmt::format("The value of the option '{}' {}", rlib::Excerpt(name).str(), check.Reason().str()));
  return {};
}

Result<> CheckSize(const rlib::vector<TranslationSet>& translations) {
  if (translations.size() > k_MaxTranslationCount)
    return TooManyTranslations(translations.size());
  if (IsTooLong(translations))
    return Failure(fmt::format("The list of path translations exceeds {} bytes", wire::k_MaxTranslations));
  return {};
}

Result<> CheckSize(const Change& change) {
  size_t bytes = 0;
  for (const OptionChange& option : change.m_Options) {
    for (const auto& text : {&option.m_Value.m_Before, &option.m_Value.m_After})
      bytes += *text ? (*text)->size() : 0;
  }
  if (bytes > k_MaxChange)
    return Failure(
        fmt::format("The values before and after have {} bytes, where {} are allowed; change fewer options "
                    "at a time",
                    bytes, k_MaxChange));
  return {};
}

} // namespace brenic::master
