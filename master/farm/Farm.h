// What the Master holds for its farm, as a value.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "brenic/PathTranslationsMsg.h"
#include "brenic/SettingsMessages.h"
#include "farm/Change.h"
#include "farm/ProductCatalogue.h"

namespace brenic::master {

struct Farm {
  OptionMap m_Options;
  rlib::map<UID, OptionMap> m_TypeOptions; // none of them empty
  rlib::map<UID, int> m_Limits;            // -1: no limit
  std::set<String> m_Restrictions;
  rlib::vector<TranslationSet> m_Translations;
  ProductCatalogue m_Products;

  /// Throws Exception* when the change was made from another state than this, as far as its lists tell.
  void Take(const Change& change);

  /// Those of a product type, or the global ones for the null type; none when none is set.
  const OptionMap& OptionsOf(const UID& section) const;
  /// The empty text when the global option was never set.
  String Option(const String& name) const;
  /// Minutes; 0 when the option is unset.
  unsigned DefaultIdleTimeout() const;

private:
  void Take(const OptionChange& change);
};

/// Adds to a change of the farm what becomes of its default products when they are `defaults`.
void AddDefaults(const Farm& farm, const ProductMap& defaults, Change& change);

/// What the change makes of the text of the user limits. Throws Exception* when it was made from another
/// text.
String Applied(const UserLimitsChange& change, const String& text);
/// The list of path translations after the change. Throws Exception* when it was made from another one.
rlib::vector<TranslationSet> Applied(const ListDifference<TranslationSet>& change,
                                     rlib::vector<TranslationSet> translations);

} // namespace brenic::master
