#include "store/TakingBack.h"

#include <fmt/core.h>

#include "brenic/Options.h"
#include "rlib/Escape.h"

namespace brenic::master {

namespace {

constexpr char k_Advice[] =
    "it was changed past the Master, or records are missing; make sure of it with 'brenic-master state'";

void Mismatch(int64_t sequence, const std::string& what, Findings& findings) {
  findings.Problem(fmt::format("Record {} of the audit trail left {} in another state than a later one, "
                               "or the present state, has it",
                               sequence, what),
                   k_Advice);
}

std::string Called(const UID& section, const String& name) {
  return fmt::format("the option '{}'{}", rlib::Excerpt(name).str(),
                     section.IsNull() ? "" : " of the type " + section.ToString().str());
}

std::string Called(const char* what, const UID& type) {
  return fmt::format("{} {}", what, type.ToString().str());
}

/// Sets what a record found; tells when there is something other than what it left.
template <typename Map, typename Key, typename State>
bool TakeBackOne(Map& map, const Key& key, const Step<State>& step) {
  const auto found = map.find(key);
  const bool fits = found == map.end() ? !step.m_After : step.m_After && found->second == *step.m_After;
  if (step.m_Before)
    map[key] = *step.m_Before;
  else
    map.erase(key);
  return fits;
}

bool IsUserLimits(const UID& section, const String& name) {
  return section.IsNull() && name.CompareNoCase(o_UserLimits) == 0;
}

} // namespace

TakingBack::TakingBack(const Farm& farm) : m_Farm(farm), m_Products(farm.m_Products.Customised()) {}

void TakingBack::TakeBackOptions(int64_t sequence, const Change& change, Findings& findings) {
  for (const OptionChange& option : change.m_Options) {
    OptionMap& options =
        option.m_Section.IsNull() ? m_Farm.m_Options : m_Farm.m_TypeOptions[option.m_Section];
    const bool fits = TakeBackOne(options, option.m_Name, option.m_Value);
    if (!fits && (m_KnowsUserLimits || !IsUserLimits(option.m_Section, option.m_Name)))
      Mismatch(sequence, Called(option.m_Section, option.m_Name), findings);
    if (IsUserLimits(option.m_Section, option.m_Name))
      m_KnowsUserLimits = true; // the record has all of the text
  }
}

void TakingBack::TakeBackUserLimits(int64_t sequence, const UserLimitsChange& change, Findings& findings) {
  if (!m_KnowsUserLimits)
    return;
  const auto found = m_Farm.m_Options.find(change.m_Name);
  const bool isSet = found != m_Farm.m_Options.end();
  const auto pieces = change.m_Pieces.Inverse().AppliedTo(SplitPieces(isSet ? found->second : String()));
  // An option that was not set had no text either.
  m_KnowsUserLimits = pieces && isSet == change.m_SetAfter &&
                      (change.m_SetBefore || (pieces->size() == 1 && pieces->front().empty()));
  if (!m_KnowsUserLimits)
    return Mismatch(sequence, "the user limits", findings);
  if (change.m_SetBefore)
    m_Farm.m_Options[change.m_Name] = JoinPieces(*pieces);
  else
    m_Farm.m_Options.erase(change.m_Name);
}

void TakingBack::TakeBackTranslations(int64_t sequence, const ListDifference<TranslationSet>& change,
                                      Findings& findings) {
  if (change.IsEmpty() || !m_KnowsTranslations)
    return;
  auto before = change.Inverse().AppliedTo(std::move(m_Farm.m_Translations));
  m_KnowsTranslations = static_cast<bool>(before);
  if (!before)
    return Mismatch(sequence, "the path translations", findings);
  m_Farm.m_Translations = std::move(*before);
}

void TakingBack::TakeBack(int64_t sequence, const Change& change, Findings& findings) {
  TakeBackOptions(sequence, change, findings);
  if (change.m_UserLimits)
    TakeBackUserLimits(sequence, *change.m_UserLimits, findings);
  for (const auto& [type, limit] : change.m_Limits)
    if (!TakeBackOne(m_Farm.m_Limits, type, limit))
      Mismatch(sequence, Called("the worker limit of the type", type), findings);
  for (const auto& [name, on] : change.m_Restrictions) {
    if (m_Farm.m_Restrictions.contains(name) != on)
      Mismatch(sequence, "the restriction '" + rlib::Excerpt(name).str() + "'", findings);
    if (on)
      m_Farm.m_Restrictions.erase(name);
    else
      m_Farm.m_Restrictions.insert(name);
  }
  TakeBackTranslations(sequence, change.m_Translations, findings);
  for (const auto& [type, product] : change.m_Products)
    if (!TakeBackOne(m_Products, type, product))
      Mismatch(sequence, Called("the product", type), findings);
}

void TakingBack::ExpectNothing(Findings& findings) const {
  const auto unexplained = [&](const std::string& what) {
    findings.Problem("No record of the audit trail tells of " + what, k_Advice);
  };
  for (const auto& [name, value] : m_Farm.m_Options)
    if (m_KnowsUserLimits || !IsUserLimits(UID::Null, name))
      unexplained(Called(UID::Null, name));
  for (const auto& [type, options] : m_Farm.m_TypeOptions)
    for (const auto& [name, value] : options)
      unexplained(Called(type, name));
  for (const auto& [type, limit] : m_Farm.m_Limits)
    unexplained(Called("the worker limit of the type", type));
  for (const String& name : m_Farm.m_Restrictions)
    unexplained("the restriction '" + rlib::Excerpt(name).str() + "'");
  if (m_KnowsTranslations && !m_Farm.m_Translations.empty())
    unexplained("the path translations");
  for (const auto& [type, product] : m_Products)
    unexplained(Called("the product", type));
}

} // namespace brenic::master
