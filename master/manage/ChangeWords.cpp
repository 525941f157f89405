// What a change did, in words.
#include <algorithm>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "farm/Entry.h"
#include "manage/History.h"
#include "manage/Words.h"
#include "rlib/Escape.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

std::string FromTo(const std::string& before, const std::string& after) {
  return before + " -> " + after;
}

std::string LimitText(const std::optional<int>& limit) {
  return !limit ? "not set" : *limit < 0 ? "no limit" : std::to_string(*limit);
}

std::string ValueText(const std::optional<String>& value) {
  return value ? Quoted(*value) : "not set";
}

/// Which of several documents of a product it is.
std::string DocumentText(const Product& product) {
  return Quoted(product.Name()) + " (" + Hex(Sha256(product.Document())).substr(0, 12) + ")";
}

std::string StateText(const std::optional<Customisation>& state, bool isDefault) {
  if (!state)
    return isDefault ? "as by default" : "not imported";
  return state->m_Installed ? "imported " + DocumentText(*state->m_Installed) : "removed";
}

std::string DefaultText(const std::optional<Customisation>& state) {
  return state && state->m_Installed ? DocumentText(*state->m_Installed) : "none";
}

/// The limit in a piece of the user limits.
String LimitOf(const String& piece) {
  const size_t equals = piece.str().find('=');
  return equals == std::string::npos ? String("no number") : String(piece.str().substr(equals + 1));
}

class Words {
public:
  Words(const HistoryFilter& filter, const TypeNamer& namer) : m_Filter(filter), m_Namer(namer) {}

  std::vector<std::string> Of(const Change& change) &&;

private:
  void Add(std::string words) { m_Words.push_back(std::move(words)); }
  void LearnNames(const std::map<UID, Step<Customisation>>& products);
  std::string Named(const UID& type) const {
    const auto here = m_Names.find(type);
    const String name = here != m_Names.end() ? here->second : m_Namer(type).m_Name;
    return name.empty() ? type.ToString().str() : Quoted(name);
  }
  /// Whether a thing fits that is none of an option, a user's limit or a path translation.
  bool FitsType(const UID& type) const {
    return !m_Filter.m_Option && !m_Filter.m_User && !m_Filter.m_Root && FitsProduct(type);
  }
  bool FitsProduct(const UID& type) const {
    return !m_Filter.m_Products || m_Filter.m_Products->contains(type);
  }
  bool FitsOption(const String& name) const {
    return !m_Filter.m_Option || m_Filter.m_Option->CompareNoCase(name) == 0;
  }
  bool FitsRoot(const TranslationSet& translation) const;
  bool FitsUser(const std::optional<String>& text) const;

  void AddOption(const OptionChange& option);
  void AddUserLimits(const UserLimitsChange& limits);
  void AddTranslations(const ListRun<TranslationSet>& run);
  void AddProduct(const UID& type, const Step<Customisation>& step, bool isDefault) {
    Add(fmt::format("product {}: {}", Named(type),
                    FromTo(StateText(step.m_Before, isDefault), StateText(step.m_After, isDefault))));
  }

  const HistoryFilter& m_Filter;
  const TypeNamer& m_Namer;
  std::map<UID, String> m_Names; // that the change's documents give
  std::vector<std::string> m_Words;
};

void Words::LearnNames(const std::map<UID, Step<Customisation>>& products) {
  for (const auto& [type, step] : products) {
    for (const auto* const state : {&step.m_Before, &step.m_After})
      if (*state && (*state)->m_Installed)
        m_Names[type] = (*state)->m_Installed->Name();
  }
}

bool Words::FitsRoot(const TranslationSet& translation) const {
  return !m_Filter.m_Root || std::any_of(translation.begin(), translation.end(), [&](const auto& root) {
    return root.second.str().str().find(m_Filter.m_Root->str()) != std::string::npos;
  });
}

bool Words::FitsUser(const std::optional<String>& text) const {
  const std::vector<String> pieces = SplitPieces(text.value_or(k_Empty));
  return std::any_of(pieces.begin(), pieces.end(),
                     [&](const String& piece) { return UserOf(piece) == *m_Filter.m_User; });
}

void Words::AddOption(const OptionChange& option) {
  const bool holdsUsers = option.m_Section.IsNull() && option.m_Name.CompareNoCase(o_UserLimits) == 0;
  const auto& [before, after] = option.m_Value;
  const bool fitsUser = !m_Filter.m_User || (holdsUsers && (FitsUser(before) || FitsUser(after)));
  if (!FitsOption(option.m_Name) || !fitsUser || m_Filter.m_Root || !FitsProduct(option.m_Section))
    return;
  Add(fmt::format("option {}{}: {}", Quoted(option.m_Name),
                  option.m_Section.IsNull() ? "" : " of " + Named(option.m_Section),
                  FromTo(ValueText(before), ValueText(after))));
}

void Words::AddUserLimits(const UserLimitsChange& limits) {
  if (!FitsOption(limits.m_Name) || m_Filter.m_Root || m_Filter.m_Products)
    return;
  struct Limits {
    std::string m_Before, m_After;
  };
  std::map<String, Limits> users;
  const auto note = [](std::string& text, const String& piece) {
    text += (text.empty() ? "" : ", ") + rlib::Excerpt(LimitOf(piece)).str();
  };
  for (const auto& run : limits.m_Pieces.m_Runs) {
    for (const String& piece : run.m_Removed)
      note(users[UserOf(piece)].m_Before, piece);
    for (const String& piece : run.m_Added)
      note(users[UserOf(piece)].m_After, piece);
  }
  const auto text = [](const std::string& limit) { return limit.empty() ? "none" : limit; };
  size_t shown = 0;
  for (const auto& [user, limit] : users) {
    ++shown;
    if (user.empty()) // between two ";", or behind the last
      --shown;
    else if (!m_Filter.m_User || *m_Filter.m_User == user)
      Add(fmt::format("user limit of {}: {}", Quoted(user),
                      FromTo(text(limit.m_Before), text(limit.m_After))));
  }
  if (shown == 0 && !m_Filter.m_User)
    Add(fmt::format("option {}: {}", Quoted(limits.m_Name),
                    limits.m_SetBefore == limits.m_SetAfter ? "the ; between its limits"
                                                            : FromTo(limits.m_SetBefore ? "set" : "not set",
                                                                     limits.m_SetAfter ? "set" : "not set")));
}

void Words::AddTranslations(const ListRun<TranslationSet>& run) {
  const auto& [at, removed, added] = run;
  const bool isPaired = removed.size() == added.size();
  for (size_t i = 0; i != removed.size(); ++i) {
    if (isPaired && (FitsRoot(removed[i]) || FitsRoot(added[i])))
      Add("path translation " + FromTo(RootsText(removed[i]), RootsText(added[i])));
    else if (!isPaired && FitsRoot(removed[i]))
      Add("path translation " + RootsText(removed[i]) + ": removed");
  }
  for (size_t i = 0; !isPaired && i != added.size(); ++i)
    if (FitsRoot(added[i]))
      Add("path translation " + RootsText(added[i]) + ": added");
}

std::vector<std::string> Words::Of(const Change& change) && {
  LearnNames(change.m_Defaults);
  LearnNames(change.m_Products);
  for (const OptionChange& option : change.m_Options)
    AddOption(option);
  if (change.m_UserLimits)
    AddUserLimits(*change.m_UserLimits);
  for (const auto& [type, limit] : change.m_Limits)
    if (FitsType(type))
      Add(fmt::format("worker limit of {}: {}", Named(type),
                      FromTo(LimitText(limit.m_Before), LimitText(limit.m_After))));
  for (const auto& [name, on] : change.m_Restrictions)
    if (FitsType(UID::Null) && !m_Filter.m_Products)
      Add(fmt::format("restriction {}: {}", Quoted(name), on ? "off -> on" : "on -> off"));
  if (!m_Filter.m_Option && !m_Filter.m_User && !m_Filter.m_Products)
    for (const auto& run : change.m_Translations.m_Runs)
      AddTranslations(run);
  for (const auto& [type, step] : change.m_Products)
    if (FitsType(type))
      AddProduct(type, step, m_Namer(type).m_IsDefault || change.m_Defaults.contains(type));
  for (const auto& [type, step] : change.m_Defaults)
    if (FitsType(type))
      Add(fmt::format("default product {}: {}", Named(type),
                      FromTo(DefaultText(step.m_Before), DefaultText(step.m_After))));
  return std::move(m_Words);
}

} // namespace

std::vector<std::string> ChangeWords(const Change& change, const HistoryFilter& filter,
                                     const TypeNamer& namer) {
  return Words(filter, namer).Of(change);
}

} // namespace brenic::master
