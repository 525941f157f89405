#include "farm/Entry.h"

#include <algorithm>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "rlib/Escape.h"
#include "rlib/Platform.h"

namespace brenic::master {

namespace {

std::string Quoted(const String& text) {
  return "'" + rlib::Excerpt(text).str() + "'";
}

/// Whether an entry that was removed or added in a list is one that `fits` accepts.
template <typename Element, typename Fits>
bool AnyIn(const ListDifference<Element>& difference, Fits fits) {
  return std::any_of(difference.m_Runs.begin(), difference.m_Runs.end(), [&](const ListRun<Element>& run) {
    return std::any_of(run.m_Removed.begin(), run.m_Removed.end(), fits) ||
           std::any_of(run.m_Added.begin(), run.m_Added.end(), fits);
  });
}

bool ChangesOption(const Change& change, const UID& section, const String& name) {
  return std::any_of(change.m_Options.begin(), change.m_Options.end(), [&](const OptionChange& option) {
    return option.m_Section == section && option.m_Name.CompareNoCase(name) == 0;
  });
}

} // namespace

String UserOf(const String& piece) {
  return piece.str().substr(0, piece.str().find('='));
}

bool Touches(const Change& change, const Entry& entry) {
  switch (entry.m_Kind) {
  case Entry::Kind::k_Option:
    return ChangesOption(change, entry.m_Type, entry.m_Name) ||
           (change.m_UserLimits && entry.m_Type.IsNull() && entry.m_Name.CompareNoCase(o_UserLimits) == 0);
  case Entry::Kind::k_UserLimit:
    return ChangesOption(change, UID::Null, o_UserLimits) ||
           (change.m_UserLimits && AnyIn(change.m_UserLimits->m_Pieces,
                                         [&](const String& piece) { return UserOf(piece) == entry.m_Name; }));
  case Entry::Kind::k_Limit:
    return change.m_Limits.contains(entry.m_Type);
  case Entry::Kind::k_Restriction:
    return change.m_Restrictions.contains(entry.m_Name);
  case Entry::Kind::k_Product:
    return change.m_Products.contains(entry.m_Type);
  case Entry::Kind::k_Translation:
    return AnyIn(change.m_Translations,
                 [&](const TranslationSet& each) { return each == entry.m_Translation; });
  }
  return false;
}

std::string EntryName(const Farm& farm, const Entry& entry) {
  switch (entry.m_Kind) {
  case Entry::Kind::k_Option:
    return "the option " + Quoted(entry.m_Name) +
           (entry.m_Type.IsNull() ? "" : " of the " + ProductName(farm, entry.m_Type));
  case Entry::Kind::k_UserLimit:
    return "the user limit of " + Quoted(entry.m_Name);
  case Entry::Kind::k_Limit:
    return "the worker limit of the " + ProductName(farm, entry.m_Type);
  case Entry::Kind::k_Restriction:
    return "the restriction " + Quoted(entry.m_Name);
  case Entry::Kind::k_Product:
    return "the " + ProductName(farm, entry.m_Type);
  case Entry::Kind::k_Translation:
    return "the path translation " + RootsText(entry.m_Translation);
  }
  return "";
}

std::string ProductName(const Farm& farm, const UID& type) {
  const auto product = farm.m_Products.Known(type);
  return "product " + (product ? Quoted(product->Name()) : type.ToString().str());
}

std::string RootsText(const TranslationSet& translation) {
  std::string text;
  for (const auto& [platform, root] : translation)
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", rlib::Platform::Name(platform).str(),
                        Quoted(root.str()));
  return text.empty() ? "without roots" : text;
}

} // namespace brenic::master
