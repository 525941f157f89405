#include "wire/WholeValue.h"

#include "brenic/Options.h"
#include "brenic/SettingsMessages.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::wire {

std::optional<WholeValue> WholeValueIn(const Message& message) {
  if (message.Type() == PathTranslationsMsg::s_Type)
    return WholeValue::k_PathTranslations;
  if (message.Type() != SetMasterOptionsMsg::s_Type)
    return std::nullopt;
  const auto& options = static_cast<const SetMasterOptionsMsg&>(message);
  if (options.m_Section.CompareNoCase(o_Distribution) != 0 || !options.m_Options.count(o_UserLimits))
    return std::nullopt;
  return WholeValue::k_UserLimits;
}

std::string BasisOf(const Message& message) {
  if (*WholeValueIn(message) == WholeValue::k_PathTranslations)
    return Sha256(EncodeTranslations(static_cast<const PathTranslationsMsg&>(message).m_Translations));
  return Sha256(static_cast<const SetMasterOptionsMsg&>(message).m_Options.at(o_UserLimits));
}

} // namespace brenic::wire
