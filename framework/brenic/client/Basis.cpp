#include "client/Basis.h"

#include "brenic/Options.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/SettingsMessages.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic {

namespace {

/// The text of the user limits; null when the message does not hold them.
const String* UserLimits(const Message& message) {
  if (message.Type() != SetMasterOptionsMsg::s_Type)
    return nullptr;
  const auto& options = static_cast<const SetMasterOptionsMsg&>(message);
  const auto found = options.m_Options.find(o_UserLimits);
  return found != options.m_Options.end() ? &found->second : nullptr;
}

} // namespace

void Basis::Delivered(const Message& message) {
  if (const String* limits = UserLimits(message)) {
    m_UserLimits = Sha256(limits->str());
  } else if (message.Type() == PathTranslationsMsg::s_Type) {
    wire::Envelope envelope;
    wire::ToWire(message, envelope);
    m_Translations = Sha256(envelope.path_translations().SerializeAsString());
  }
}

std::string Basis::For(const Message& message) const {
  if (message.Type() == PathTranslationsMsg::s_Type)
    return m_Translations;
  if (!UserLimits(message))
    return {};
  const String& section = static_cast<const SetMasterOptionsMsg&>(message).m_Section;
  return section.CompareNoCase(o_Distribution) == 0 ? m_UserLimits : std::string();
}

} // namespace brenic
