// What the Master holds for its farm, as values.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "brenic/PathTranslationsMsg.h"
#include "brenic/SettingsMessages.h"
#include "farm/ProductCatalogue.h"

namespace brenic::master {

/// What one request changes. Empty members change nothing.
struct Effect {
  UID m_OptionsType = UID(false); // whose options are set; null for the global ones
  OptionMap m_Options;
  rlib::map<UID, int> m_Limits;
  rlib::map<String, bool> m_Restrictions;
  std::optional<rlib::vector<TranslationSet>> m_Translations; // the whole list
  shared_ptr<const Product> m_Install;
  std::optional<UID> m_Remove; // a product type; the null identifier goes back to the defaults

  bool ChangesProducts() const { return m_Install || m_Remove; }
};

struct Farm {
  OptionMap m_Options;
  rlib::map<UID, OptionMap> m_TypeOptions;
  rlib::map<UID, int> m_Limits; // -1: no limit
  std::set<String> m_Restrictions;
  rlib::vector<TranslationSet> m_Translations;
  ProductCatalogue m_Products;

  void Take(const Effect& effect);

  /// The empty text when the option was never set.
  String Option(const String& name) const;
  /// Minutes; 0 when the option is unset.
  unsigned DefaultIdleTimeout() const;
};

/// The list in its one form on the wire, from which its basis is computed.
std::string EncodeTranslations(const rlib::vector<TranslationSet>& translations);
/// Throws wire::Malformed.
rlib::vector<TranslationSet> DecodeTranslations(const std::string& bytes);

} // namespace brenic::master
