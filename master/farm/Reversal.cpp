#include "farm/Reversal.h"

#include <algorithm>

#include "brenic/Options.h"
#include "farm/SettingsCheck.h"
#include "farm/Steps.h"

namespace brenic::master {

namespace {

bool IsUserLimits(const OptionChange& option) {
  return option.m_Section.IsNull() && option.m_Name.CompareNoCase(o_UserLimits) == 0;
}

/// The step of the option that holds the user limits, if it changed as one text.
const OptionChange* WholeText(const Change& change) {
  const auto found = std::find_if(change.m_Options.begin(), change.m_Options.end(), IsUserLimits);
  return found != change.m_Options.end() ? &*found : nullptr;
}

std::vector<String> Pieces(const std::optional<String>& text) {
  return SplitPieces(text.value_or(k_Empty));
}

} // namespace

UserLimitsReversal::UserLimitsReversal(const Farm& farm)
    : m_Name(o_UserLimits), m_IsSet(farm.m_Options.contains(o_UserLimits)),
      m_Pieces(SplitPieces(farm.Option(o_UserLimits))) {}

bool UserLimitsReversal::IsIn(const Change& change) {
  return change.m_UserLimits || WholeText(change);
}

void UserLimitsReversal::Pass(const Change& change) {
  if (change.m_UserLimits)
    m_Pieces.Pass(change.m_UserLimits->m_Pieces);
  else if (const OptionChange* const whole = WholeText(change))
    m_Pieces.SetPast(Pieces(whole->m_Value.m_Before));
}

std::vector<Entry> UserLimitsReversal::Revert(const Change& change) {
  if (change.m_UserLimits)
    return RevertPieces(*change.m_UserLimits);
  return RevertText(*WholeText(change));
}

std::vector<Entry> UserLimitsReversal::RevertPieces(const UserLimitsChange& change) {
  const bool changesPieces = !change.m_Pieces.IsEmpty();
  if (!changesPieces && (m_IsSet != change.m_SetAfter || !JoinPieces(m_Pieces.Result()).empty()))
    return {{Entry::Kind::k_Option, UID::Null, change.m_Name, {}}};
  std::vector<Entry> others;
  for (const String& user : m_Pieces.Revert(change.m_Pieces))
    others.push_back({Entry::Kind::k_UserLimit, UID::Null, user, {}});
  if (!others.empty())
    return others;
  // What others have added since keeps the option.
  m_IsSet = change.m_SetBefore || (changesPieces && !JoinPieces(m_Pieces.Result()).empty());
  m_Name = change.m_Name;
  return {};
}

std::vector<Entry> UserLimitsReversal::RevertText(const OptionChange& change) {
  const Step<String>& text = change.m_Value;
  m_Pieces.SetPast(Pieces(text.m_Before));
  if (Value() != text.m_After)
    return {{Entry::Kind::k_Option, UID::Null, change.m_Name, {}}};
  m_Name = change.m_Name;
  m_IsSet = text.m_Before.has_value();
  m_Pieces.SetResult(Pieces(text.m_Before));
  return {};
}

std::optional<String> UserLimitsReversal::Value() const {
  return m_IsSet ? std::optional(JoinPieces(m_Pieces.Result())) : std::nullopt;
}

bool Reversal::HasLists(const Change& change) {
  return !change.m_Translations.IsEmpty() || UserLimitsReversal::IsIn(change);
}

template <typename State>
void Reversal::RevertStep(int64_t sequence, const Entry& entry, const Step<State>& step,
                          std::optional<State>& state) {
  if (state == step.m_After)
    state = step.m_Before;
  else
    m_Conflicts.push_back({sequence, entry});
}

void Reversal::RevertOption(int64_t sequence, const OptionChange& option) {
  const OptionMap& held = m_Farm.OptionsOf(option.m_Section);
  const auto current = held.find(option.m_Name);
  const std::optional<String> value = current != held.end() ? std::optional(current->second) : std::nullopt;
  OptionState& state =
      m_Options[option.m_Section].try_emplace(option.m_Name, OptionState{{}, value}).first->second;
  RevertStep(sequence, {Entry::Kind::k_Option, option.m_Section, option.m_Name, {}}, option.m_Value,
             state.m_Value);
  state.m_Name = option.m_Name;
}

void Reversal::RevertStates(int64_t sequence, const Change& change) {
  for (const OptionChange& option : change.m_Options) {
    if (!IsUserLimits(option))
      RevertOption(sequence, option);
  }
  for (const auto& [type, step] : change.m_Limits) {
    const auto current = m_Farm.m_Limits.find(type);
    const auto state = m_Limits.try_emplace(
        type, current != m_Farm.m_Limits.end() ? std::optional(current->second) : std::nullopt);
    RevertStep(sequence, {Entry::Kind::k_Limit, type, {}, {}}, step, state.first->second);
  }
  for (const auto& [name, on] : change.m_Restrictions) {
    bool& state = m_Restrictions.try_emplace(name, m_Farm.m_Restrictions.contains(name)).first->second;
    if (state == on)
      state = !on;
    else
      m_Conflicts.push_back({sequence, {Entry::Kind::k_Restriction, UID::Null, name, {}}});
  }
  for (const auto& [type, step] : change.m_Products) {
    const auto state = m_Products.try_emplace(type, m_Farm.m_Products.CustomisationOf(type));
    RevertStep(sequence, {Entry::Kind::k_Product, type, {}, {}}, step, state.first->second);
  }
}

void Reversal::RevertLists(int64_t sequence, const Change& change) {
  if (!change.m_Translations.IsEmpty()) {
    for (const TranslationSet& other : Translations().Revert(change.m_Translations))
      m_Conflicts.push_back({sequence, {Entry::Kind::k_Translation, UID::Null, {}, other}});
  }
  if (UserLimitsReversal::IsIn(change)) {
    for (const Entry& other : UserLimits().Revert(change))
      m_Conflicts.push_back({sequence, other});
  }
}

void Reversal::PassLists(const Change& change) {
  if (!change.m_Translations.IsEmpty())
    Translations().Pass(change.m_Translations);
  if (UserLimitsReversal::IsIn(change))
    UserLimits().Pass(change);
}

auto Reversal::Translations() -> ListReversal<TranslationSet, TranslationTraits>& {
  return m_Translations ? *m_Translations : m_Translations.emplace(m_Farm.m_Translations);
}

UserLimitsReversal& Reversal::UserLimits() {
  return m_UserLimits ? *m_UserLimits : m_UserLimits.emplace(m_Farm);
}

rlib::Result<Change> Reversal::ToChange() const {
  Change change;
  const auto setOption = [&](const UID& section, const String& name,
                             const std::optional<String>& value) -> rlib::Result<> {
    if (const auto check = value ? CheckOptionValue(name, *value, section.IsNull()) : rlib::Result<>();
        !check)
      return check;
    SetOption(m_Farm, section, name, value, change);
    return {};
  };
  for (const auto& [section, options] : m_Options) {
    for (const auto& entry : options)
      if (const auto set = setOption(section, entry.second.m_Name, entry.second.m_Value); !set)
        return set.Why();
  }
  if (m_UserLimits) {
    if (const auto set = setOption(UID::Null, m_UserLimits->Name(), m_UserLimits->Value()); !set)
      return set.Why();
  }
  for (const auto& [type, limit] : m_Limits)
    SetLimit(m_Farm, type, limit, change);
  for (const auto& [name, on] : m_Restrictions)
    SetRestriction(m_Farm, name, on, change);
  for (const auto& [type, customisation] : m_Products)
    SetProduct(m_Farm, type, customisation, change);
  if (m_Translations) {
    const auto list = m_Translations->Result();
    if (const auto size = CheckSize(list); !size)
      return size.Why();
    SetTranslations(m_Farm, list, change);
  }
  if (const auto size = CheckSize(change); !size)
    return size.Why();
  return change;
}

} // namespace brenic::master
