// How a writer decides one request.
#include "brenic/MessageClasses.h"
#include "rlib/Log.h"
#include "serve/DefaultProducts.h"
#include "serve/Writer.h"

namespace brenic::master {

namespace {

/// A reply must fit into a frame; many names of long options might not.
bool FitsFrame(const Message& reply) {
  size_t bytes = 0;
  for (const auto& [name, value] : static_cast<const SetMasterOptionsMsg&>(reply).m_Options)
    bytes += name.size() + value.size() + 32;
  return bytes < wire::k_MaxFrame - 1024;
}

} // namespace

Writer::Decision Writer::Decide(const Request& request, const std::string& digest, bool mayStore) {
  if (const auto earlier = m_Store->FindDecision(request.m_Peer->m_Key, request.m_Id))
    return Repeat(request, *earlier, digest);
  if (!IsForManagers(request))
    return DecideNew(request);
  if (mayStore)
    return DecideManaged(request);
  Decision decision; // it would be stored
  decision.m_Outcome = wire::Answer::COMMITTED;
  return decision;
}

bool Writer::IsForManagers(const Request& request) const {
  return m_Manage && !request.m_Refusal && request.m_Message->Description().m_Sender == Sender::k_Manager;
}

Writer::Decision Writer::DecideManaged(const Request& request) {
  Decision decision;
  auto managed = m_Manage(*m_Store, *request.m_Message, m_Clock->Present());
  if (!managed) {
    decision.m_Reason = managed.Reason();
    return decision;
  }
  decision.m_Outcome = wire::Answer::COMMITTED;
  decision.m_Reason = managed->m_Done;
  decision.m_Judgement.m_Reply = std::move(managed->m_Reply);
  m_Dismissed.insert(managed->m_Dismissed.begin(), managed->m_Dismissed.end());
  return decision;
}

Writer::Decision Writer::Repeat(const Request& request, const AuditRecord& earlier,
                                const std::string& digest) const {
  Decision decision;
  decision.m_Record = false;
  if (earlier.m_Digest != (earlier.IsOfLayout1() ? DigestOfLayout1(request) : digest)) {
    decision.m_Reason = "Its identifier was already used for another request";
    return decision;
  }
  decision.m_Reason = earlier.m_Reason;
  if (earlier.m_Result == "refused")
    return decision;
  const MessageDescription* const description = FindDescription(earlier.m_Class);
  const bool isDoneOnce = description && description->m_DoneOnce;
  decision.m_Outcome = isDoneOnce && earlier.m_Run != m_Run ? wire::Answer::UNKNOWN : wire::Answer::COMMITTED;
  if (decision.m_Outcome == wire::Answer::UNKNOWN)
    decision.m_Reason = "the Master was started anew after it had accepted this; whether it was carried out "
                        "is unknown, and it is not repeated";
  return decision;
}

Writer::Decision Writer::DecideNew(const Request& request) const {
  Decision decision;
  if (m_Dismissed.contains(request.m_Peer->m_Key)) {
    decision.m_Reason = "The client's certificate was revoked, or its role changed, before this was decided";
    return decision;
  }
  if (request.m_Refusal) {
    decision.m_Record = request.m_IsRecorded;
    decision.m_Reason = *request.m_Refusal;
    return decision;
  }
  if (const auto basis = CheckBasis(m_Farm, *request.m_Message, request.m_Basis); !basis) {
    decision.m_Reason = basis.Reason();
    return decision;
  }
  auto judgement = Judge(m_Farm, m_Commands, *request.m_Message, *m_Store);
  if (judgement && judgement->m_Reply && !FitsFrame(*judgement->m_Reply))
    judgement = rlib::Failure("The reply would be too long; ask for fewer options at a time");
  if (judgement && judgement->m_ReloadsDefaults) {
    if (const auto reloaded = ReloadDefaults(judgement->m_Change); !reloaded)
      judgement = reloaded.Why();
  }
  if (!judgement) {
    decision.m_Reason = judgement.Reason();
    return decision;
  }
  decision.m_Outcome = wire::Answer::COMMITTED;
  decision.m_Judgement = std::move(*judgement);
  return decision;
}

rlib::Result<> Writer::ReloadDefaults(Change& change) const {
  if (m_Products.empty())
    return {};
  const auto files = DefaultProductFiles(m_Products);
  if (!files) {
    rlib::LogError("The products are not reset: " + files.Reason());
    return rlib::Failure(files.Reason() + "; nothing was changed");
  }
  AddDefaults(m_Farm, LoadDefaultProducts(*files, m_Farm.m_Products.Defaults()), change);
  return {};
}

} // namespace brenic::master
