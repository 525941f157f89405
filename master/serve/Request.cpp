#include "serve/Request.h"

#include <fmt/core.h>

#include "brenic/MessageClasses.h"
#include "brenic/Options.h"
#include "farm/Judgement.h"
#include "farm/Steps.h"
#include "store/Store.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

/// Whether the change tells all that the request holds.
bool IsAllIn(const Change& change, const Message& message) {
  if (message.Type() == ProductMsg::s_Type)
    return !change.m_Products.empty();
  if (message.Type() == PathTranslationsMsg::s_Type)
    return !change.m_Translations.IsEmpty();
  return message.Type() == SetMasterOptionsMsg::s_Type && change.m_UserLimits &&
         static_cast<const SetMasterOptionsMsg&>(message).m_Options.size() == 1;
}

/// Each option counts, were it as long as it may be.
size_t MaxReply(const Message& message) {
  size_t bytes = 0;
  for (const String& name : static_cast<const GetMasterOptionsMsg&>(message).m_OptionNames)
    bytes += name.CompareNoCase(o_UserLimits) == 0 ? k_MaxUserLimits : k_MaxValue;
  return std::min(bytes, wire::k_MaxFrame);
}

/// The encoded message without the options that are long; without any where the others are still too many.
std::shared_ptr<const std::string> SmallOptions(const SetMasterOptionsMsg& message) {
  constexpr size_t k_Small = 1024;
  constexpr size_t k_SmallTogether = k_MaxAuditField / 2;
  SetMasterOptionsMsg kept;
  kept.m_ID = message.m_ID;
  kept.m_Section = message.m_Section.size() <= k_Small ? message.m_Section : String();
  size_t bytes = 0;
  for (const auto& [name, value] : message.m_Options) {
    if (name.size() + value.size() > k_Small)
      continue;
    bytes += name.size() + value.size();
    kept.m_Options[name] = value;
  }
  if (bytes > k_SmallTogether)
    kept.m_Options.clear();
  wire::Envelope envelope;
  wire::ToWire(kept, envelope);
  return std::make_shared<const std::string>(envelope.SerializeAsString());
}

} // namespace

Request MakeRequest(uint64_t session, std::shared_ptr<const Peer> peer, wire::Envelope& envelope,
                    std::string bytes) {
  // Small ones that are refused are shown in the audit trail all the same.
  constexpr size_t k_AlwaysDecoded = 4 * 1024;
  Request request;
  request.m_Session = session;
  request.m_Id = wire::Identifier(envelope.id());
  request.m_Class = wire::ClassName(envelope);
  request.m_Basis = envelope.basis();
  const auto translations = static_cast<size_t>(envelope.path_translations().translations_size());
  if (peer->m_Role != Role::k_Administrator)
    request.m_Refusal = String(fmt::format(
        "The client '{}' is a component; only an administrator may send requests", peer->m_Name.str()));
  else if (translations > k_MaxTranslationCount)
    request.m_Refusal = TooManyTranslations(translations).Reason();
  const MessageDescription* const description = request.m_Class ? FindDescription(request.m_Class) : nullptr;
  const bool isForManagers = description && description->m_Sender == Sender::k_Manager;
  if (!request.m_Refusal && isForManagers && !peer->m_Manages)
    request.m_Refusal = "This is only decided on the Master's own machine; run brenic-master there";
  if (bytes.size() <= k_AlwaysDecoded || !request.m_Refusal)
    request.m_Message = wire::FromWire(envelope);
  if (!request.m_Refusal && envelope.has_get_master_options())
    request.m_MaxReply = MaxReply(*request.m_Message);
  if (!request.m_Message && !request.m_Refusal)
    request.m_Refusal = "This Master does not know this kind of request";
  request.m_Peer = std::move(peer);
  request.m_Bytes = std::make_shared<const std::string>(std::move(bytes));
  return request;
}

std::string DigestOfLayout1(const Request& request) {
  wire::Envelope envelope;
  envelope.ParseFromString(*request.m_Bytes);
  return Sha256(envelope.SerializeAsString());
}

std::shared_ptr<const std::string> KeptBytes(const Request& request, const Change& change) {
  constexpr size_t k_VeryShort = 4 * 1024;
  if (!request.m_Message ||
      request.m_Message->Type() == MoveAuthorityMsg::s_Type) // keys stay out of the trail
    return nullptr;
  const bool isAllIn = IsAllIn(change, *request.m_Message);
  if (request.m_Bytes->size() <= (isAllIn ? k_VeryShort : k_MaxAuditField))
    return request.m_Bytes;
  if (isAllIn || request.m_Message->Type() != SetMasterOptionsMsg::s_Type)
    return nullptr;
  return SmallOptions(static_cast<const SetMasterOptionsMsg&>(*request.m_Message));
}

} // namespace brenic::master
