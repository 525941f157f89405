#include "serve/Request.h"

#include <fmt/core.h>

#include "farm/Judgement.h"
#include "farm/ShownSize.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

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
        "the client '{}' is a component; only an administrator may send requests", peer->m_Name.str()));
  else if (translations > k_MaxTranslationCount)
    request.m_Refusal = String(fmt::format("m_Translations: {} translations, where {} are allowed",
                                           translations, k_MaxTranslationCount));
  if (bytes.size() <= k_AlwaysDecoded || !request.m_Refusal)
    request.m_Message = wire::FromWire(envelope);
  if (!request.m_Message && !request.m_Refusal)
    request.m_Refusal = "this Master does not know this kind of request";
  request.m_Peer = std::move(peer);
  request.m_Bytes = std::make_shared<const std::string>(std::move(bytes));
  return request;
}

std::string DigestOfLayout1(const Request& request) {
  wire::Envelope envelope;
  envelope.ParseFromString(*request.m_Bytes);
  return Sha256(envelope.SerializeAsString());
}

bool IsKept(const Request& request) {
  constexpr size_t k_NeverLong = k_MaxAuditField / 8; // no field of so few bytes is long as JSON
  const size_t size = request.m_Bytes->size();
  return request.m_Message && size <= k_MaxAuditField &&
         (size <= k_NeverLong || !HasLongField(*request.m_Message));
}

} // namespace brenic::master
