// What a committed request did to the farm, as a value: it alone is applied to what a Master holds in memory
// and in its store, is kept in the audit trail, and can be turned round.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "brenic/PathTranslationsMsg.h"
#include "farm/ListDifference.h"
#include "farm/ProductCatalogue.h"

namespace brenic::master {

/// The state of one thing before a change and after it; none where it was not there, or is not there any
/// more.
template <typename State>
struct Step {
  std::optional<State> m_Before;
  std::optional<State> m_After;

  friend bool operator==(const Step&, const Step&) = default;
};

struct OptionChange {
  UID m_Section = UID(false); // a product type; null for the global options
  String m_Name;              // in the spelling in which it is kept
  Step<String> m_Value;

  friend bool operator==(const OptionChange&, const OptionChange&) = default;
};

/// Of the global option that holds the limits of all users in one text, unless that has very many pieces. It
/// counts as a list of pieces with ";" between them; when the option is not set, its text is empty.
struct UserLimitsChange {
  String m_Name; // in the spelling in which it is kept
  bool m_SetBefore = false;
  bool m_SetAfter = false;
  ListDifference<String> m_Pieces;

  friend bool operator==(const UserLimitsChange&, const UserLimitsChange&) = default;
};

/// What did not change is not in it. Its size follows what changed, not what there is.
struct Change {
  std::vector<OptionChange> m_Options; // each option once
  std::optional<UserLimitsChange> m_UserLimits;
  std::map<UID, Step<int>> m_Limits;     // by product type
  std::map<String, bool> m_Restrictions; // whether it is on after the change; before, it was the other way
  ListDifference<TranslationSet> m_Translations;
  std::map<UID, Step<Customisation>> m_Products; // by type; a type without customisation is as by default
  std::map<UID, Step<Customisation>> m_Defaults; // the default products that were read anew; none is null

  bool IsEmpty() const;

  friend bool operator==(const Change&, const Change&) = default;
};

/// What undoes the change.
Change Inverse(const Change& change);

/// The pieces of a text with ";" between them; JoinPieces gives the same text again. The empty text has one
/// piece.
std::vector<String> SplitPieces(const String& text);
String JoinPieces(const std::vector<String>& pieces);

} // namespace brenic::master
