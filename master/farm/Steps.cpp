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
