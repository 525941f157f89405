#include "farm/Farm.h"

#include "brenic/Options.h"
#include "rlib/Number.h"

namespace brenic::master {

namespace {

/// Sets the state after a step, or takes away what has none.
template <typename Map, typename Key, typename State>
void Put(Map& map, const Key& key, const std::optional<State>& after) {
  if (after)
    map[key] = *after; // an existing entry keeps the spelling of its name
  else
    map.erase(key);
}

} // namespace

void Farm::Take(const Change& change) {
  for (const OptionChange& option : change.m_Options)
    Take(option);
  if (const auto& limits = change.m_UserLimits) {
    const String text = Applied(*limits, Option(limits->m_Name));
    Put(m_Options, limits->m_Name, limits->m_SetAfter ? std::optional(text) : std::nullopt);
  }
  for (const auto& [type, limit] : change.m_Limits)
    Put(m_Limits, type, limit.m_After);
  for (const auto& [name, on] : change.m_Restrictions) {
    if (on)
      m_Restrictions.insert(name);
    else
      m_Restrictions.erase(name);
  }
  if (!change.m_Translations.IsEmpty())
    m_Translations = Applied(change.m_Translations, std::move(m_Translations));
  if (change.m_Products.empty() && change.m_Defaults.empty())
    return;
  ProductCatalogue::States states;
  for (const auto& [type, product] : change.m_Products)
    states.emplace(type, product.m_After);
  ProductMap defaults;
  for (const auto& [type, product] : change.m_Defaults)
    defaults.emplace(type, product.m_After ? product.m_After->m_Installed : nullptr);
  m_Products.Customise(states, defaults);
}

void Farm::Take(const OptionChange& change) {
  if (change.m_Section.IsNull())
    return Put(m_Options, change.m_Name, change.m_Value.m_After);
  OptionMap& options = m_TypeOptions[change.m_Section];
  Put(options, change.m_Name, change.m_Value.m_After);
  if (options.empty())
    m_TypeOptions.erase(change.m_Section);
}

const OptionMap& Farm::OptionsOf(const UID& section) const {
  static const OptionMap s_None;
  if (section.IsNull())
    return m_Options;
  const auto found = m_TypeOptions.find(section);
  return found == m_TypeOptions.end() ? s_None : found->second;
}

String Farm::Option(const String& name) const {
  const auto option = m_Options.find(name);
  return option == m_Options.end() ? k_Empty : option->second;
}

unsigned Farm::DefaultIdleTimeout() const {
  const auto minutes = rlib::ParseInt32(Option(o_DefaultIdleTimeout));
  return minutes && *minutes > 0 ? static_cast<unsigned>(*minutes) : 0;
}

void AddDefaults(const Farm& farm, const ProductMap& defaults, Change& change) {
  const ProductMap& earlier = farm.m_Products.Defaults();
  for (const auto& [type, product] : earlier) {
    if (!defaults.contains(type))
      change.m_Defaults[type] = {Customisation{product}, std::nullopt};
  }
  for (const auto& [type, product] : defaults) {
    const auto held = earlier.find(type);
    const Step<Customisation> step{held != earlier.end() ? std::optional(Customisation{held->second})
                                                         : std::nullopt,
                                   Customisation{product}};
    if (step.m_Before != step.m_After)
      change.m_Defaults[type] = step;
  }
}

String Applied(const UserLimitsChange& change, const String& text) {
  const auto pieces = change.m_Pieces.AppliedTo(SplitPieces(text));
  if (!pieces)
    throw new Exception("The user limits are not those that were changed: " + pieces.Reason());
  return JoinPieces(*pieces);
}

rlib::vector<TranslationSet> Applied(const ListDifference<TranslationSet>& change,
                                     rlib::vector<TranslationSet> translations) {
  auto after = change.AppliedTo(std::move(translations));
  if (!after)
    throw new Exception("The path translations are not those that were changed: " + after.Reason());
  return std::move(*after);
}

} // namespace brenic::master
