// What the Master holds for its farm, as values.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "brenic/PathTranslationsMsg.h"
#include "brenic/Product.h"
#include "brenic/SettingsMessages.h"

namespace brenic::master {

using ProductMap = rlib::map<UID, shared_ptr<const Product>>;

/// The default products, and what administrators changed of them.
struct ProductCatalogue {
  ProductMap m_Defaults;
  ProductMap m_Custom;     // installed; each hides the default of the same type
  std::set<UID> m_Removed; // defaults that do not show

  /// The products that the farm has, by type.
  ProductMap Effective() const;
  /// Null when the farm has no product of the type.
  shared_ptr<const Product> Find(const UID& type) const;
  bool IsCustom(const UID& type) const { return m_Custom.count(type) > 0; }
};

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

struct Settings {
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
