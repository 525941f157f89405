#include "farm/Farm.h"

#include "brenic/Options.h"
#include "rlib/Number.h"
#include "wire/Contents.h"

namespace brenic::master {

void Farm::Take(const Effect& effect) {
  if (!effect.m_Options.empty()) {
    OptionMap& options = effect.m_OptionsType.IsNull() ? m_Options : m_TypeOptions[effect.m_OptionsType];
    for (const auto& [name, value] : effect.m_Options)
      options[name] = value; // an existing entry keeps the spelling of its name
  }
  for (const auto& [type, limit] : effect.m_Limits)
    m_Limits[type] = limit;
  for (const auto& [name, add] : effect.m_Restrictions) {
    if (add)
      m_Restrictions.insert(name);
    else
      m_Restrictions.erase(name);
  }
  if (effect.m_Translations)
    m_Translations = *effect.m_Translations;
  if (effect.m_Install)
    m_Products.Install(effect.m_Install);
  if (effect.m_Remove && effect.m_Remove->IsNull())
    m_Products.Reset();
  else if (effect.m_Remove)
    m_Products.Remove(*effect.m_Remove);
}

String Farm::Option(const String& name) const {
  const auto option = m_Options.find(name);
  return option == m_Options.end() ? k_Empty : option->second;
}

unsigned Farm::DefaultIdleTimeout() const {
  const std::optional<int32_t> minutes = rlib::ParseInt32(Option(o_DefaultIdleTimeout));
  return minutes && *minutes > 0 ? static_cast<unsigned>(*minutes) : 0;
}

std::string EncodeTranslations(const rlib::vector<TranslationSet>& translations) {
  PathTranslationsMsg message;
  message.m_Translations = translations;
  wire::Envelope envelope;
  wire::ToWire(message, envelope);
  return envelope.path_translations().SerializeAsString();
}

rlib::vector<TranslationSet> DecodeTranslations(const std::string& bytes) {
  wire::Envelope envelope;
  envelope.set_id(wire::IdentifierBytes(UID::Null));
  if (!envelope.mutable_path_translations()->ParseFromString(bytes))
    throw wire::Malformed("path translations that cannot be decoded");
  return boost::static_pointer_cast<PathTranslationsMsg>(wire::FromWire(envelope))->m_Translations;
}

} // namespace brenic::master
