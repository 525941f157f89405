#include "serve/Writer.h"

#include <unistd.h>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "brenic/SystemMessages.h"
#include "farm/AuditFields.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

const char* ResultName(wire::Answer::Outcome outcome, bool isRead) {
  if (outcome != wire::Answer::COMMITTED)
    return "refused";
  return isRead ? "answered" : "committed";
}

/// What is on disk may not be what is in memory any more, so nothing can be promised.
[[noreturn]] void EndProcess(const std::string& reason) {
  const String line = "The Master ends, because its database failed: " + reason;
  rlib::LogError(line);
  rlib::stdErr.PutLine(line);
  _exit(1);
}

Result MakeResult(const Request& request, const wire::Answer::Outcome outcome, const String& reason,
                  const Message* reply) {
  std::string bytes;
  if (reply) {
    wire::Frame frame;
    wire::ToWire(*reply, *frame.mutable_message());
    frame.mutable_message()->set_reply_to(wire::IdentifierBytes(request.m_Id));
    bytes = wire::Encode(frame);
  }
  wire::Frame frame;
  frame.mutable_answer()->set_id(wire::IdentifierBytes(request.m_Id));
  frame.mutable_answer()->set_outcome(outcome);
  frame.mutable_answer()->set_reason(reason.str());
  bytes += wire::Encode(frame);
  return {request.m_Session, request.m_Bytes, std::make_shared<const std::string>(std::move(bytes)), nullptr};
}

/// To be called before the settings take the effect.
void NoteChanges(const Farm& farm, const Effect& effect, Batch& batch) {
  batch.m_TranslationsChanged |= effect.m_Translations && *effect.m_Translations != farm.m_Translations;
  batch.m_ProductsChanged |= effect.ChangesProducts();
  // A hidden default product may come to show with any change.
  const bool any = (effect.m_Remove && effect.m_Remove->IsNull()) || !farm.m_Products.Hidden().empty();
  if (effect.ChangesProducts() && any)
    batch.m_ChangedProducts.reset();
  if (batch.m_ChangedProducts && effect.m_Install)
    batch.m_ChangedProducts->insert(effect.m_Install->Type());
  if (batch.m_ChangedProducts && effect.m_Remove)
    batch.m_ChangedProducts->insert(*effect.m_Remove);
}

/// Contents that are not decoded, or not worth it, are named by their digest and size.
std::string AuditedFields(const Request& request, bool refused, const std::string& digest) {
  const size_t size = request.m_Envelope->ByteSizeLong();
  if (request.m_Message && !(refused && size > k_MaxAuditField))
    return ToText(AuditFields(*request.m_Message));
  return ToText(Json{{"digest", Hex(digest)}, {"size", size}});
}

/// A reply must fit into a frame; many names of long options might not.
bool FitsFrame(const Message& reply) {
  size_t bytes = 0;
  for (const auto& [name, value] : static_cast<const SetMasterOptionsMsg&>(reply).m_Options)
    bytes += name.size() + value.size() + 32;
  return bytes < wire::k_MaxFrame - 1024;
}

} // namespace

String WhyNotDecoded(const Peer& peer, const wire::Envelope& envelope) {
  if (peer.m_Role != Role::Administrator)
    return fmt::format("the client '{}' is a component; only an administrator may send requests",
                       peer.m_Name.str());
  const auto translations = static_cast<size_t>(envelope.path_translations().translations_size());
  if (translations > k_MaxTranslationCount)
    return fmt::format("m_Translations: {} translations, where {} are allowed", translations,
                       k_MaxTranslationCount);
  return k_Empty;
}

Writer::Writer(std::unique_ptr<Store> store, MachineCommandLines commands, SnapshotHolder& snapshots,
               Deliver deliver, std::string run)
    : m_Store(std::move(store)), m_Commands(std::move(commands)), m_Snapshots(snapshots),
      m_Deliver(std::move(deliver)), m_Run(std::move(run)), m_Farm(m_Store->LoadFarm()) {
  Publish(true, true);
  for (const UID& type : m_Farm.m_Products.Hidden())
    rlib::LogWarning("The default product " + type.ToString() +
                     " does not show: an installed product has its name or one of its aliases");
}

Writer::~Writer() {
  {
    std::lock_guard lock(m_Mutex);
    m_Stop = true;
  }
  m_Wake.notify_one();
  if (m_Thread.joinable())
    m_Thread.join();
}

void Writer::Start() {
  m_Thread = std::thread([this] { Run(); });
}

void Writer::Submit(Request request) {
  {
    std::lock_guard lock(m_Mutex);
    m_Queue.push_back(std::move(request));
  }
  m_Wake.notify_one();
}

void Writer::Run() {
  for (;;) {
    std::vector<Request> requests;
    {
      std::unique_lock lock(m_Mutex);
      m_Wake.wait(lock, [this] { return m_Stop || !m_Queue.empty(); });
      if (m_Queue.empty())
        return;
      requests.swap(m_Queue);
    }
    try {
      m_Deliver(Process(requests));
    } catch (const std::exception& error) {
      EndProcess(error.what());
    } catch (Exception* error) {
      EndProcess(error->Message().str());
    }
  }
}

Batch Writer::Process(const std::vector<Request>& requests) {
  try {
    return Commit(requests);
  } catch (const StoreFailure& failure) {
    if (failure.Which() == StoreFailure::Kind::Broken)
      throw;
    rlib::LogError(fmt::format("Writes are refused: {}", failure.what()));
    m_Store->Rollback();
    m_Farm = m_Store->LoadFarm();
    return AnswerWithoutStoring(requests, failure.Which() == StoreFailure::Kind::Full
                                              ? "the Master's disk is full; nothing was changed"
                                              : "another program holds the Master's database; nothing was "
                                                "changed, run the command again");
  }
}

Batch Writer::Commit(const std::vector<Request>& requests) {
  Batch batch;
  m_Store->Begin();
  for (const Request& request : requests) {
    const std::string digest = Sha256(request.m_Envelope->SerializeAsString());
    const Decision decision = Decide(request, digest);
    if (decision.m_Record) {
      m_Store->Apply(decision.m_Effect);
      m_Store->Record(MakeRecord(request, decision, digest));
      NoteChanges(m_Farm, decision.m_Effect, batch);
      m_Farm.Take(decision.m_Effect);
    }
    Result result = MakeResult(request, decision.m_Outcome, decision.m_Reason, decision.m_Reply.get());
    if (decision.m_Record && decision.m_Outcome == wire::Answer::COMMITTED && IsOperation(*request.m_Message))
      result.m_Operation = request.m_Message;
    batch.m_Results.push_back(std::move(result));
  }
  m_Store->Commit();
  Publish(batch.m_TranslationsChanged, batch.m_ProductsChanged);
  return batch;
}

Batch Writer::AnswerWithoutStoring(const std::vector<Request>& requests, const String& reason) {
  Batch batch;
  for (const Request& request : requests) {
    Decision decision = Decide(request, Sha256(request.m_Envelope->SerializeAsString()));
    const bool isWrite = decision.m_Record && !decision.m_Reply;
    if (isWrite && decision.m_Outcome == wire::Answer::COMMITTED) {
      decision.m_Outcome = wire::Answer::REFUSED;
      decision.m_Reason = reason;
    }
    batch.m_Results.push_back(
        MakeResult(request, decision.m_Outcome, decision.m_Reason, decision.m_Reply.get()));
  }
  return batch;
}

Writer::Decision Writer::Decide(const Request& request, const std::string& digest) {
  if (const auto earlier = m_Store->FindDecision(request.m_Peer->m_Key, request.m_Id))
    return Repeat(*earlier, digest);
  return DecideNew(request);
}

Writer::Decision Writer::Repeat(const AuditRecord& earlier, const std::string& digest) const {
  Decision decision;
  decision.m_Record = false;
  if (earlier.m_Digest != digest) {
    decision.m_Reason = "its identifier was already used for another request";
    return decision;
  }
  decision.m_Reason = earlier.m_Reason;
  if (earlier.m_Result == "refused")
    return decision;
  const bool isDoneOnce =
      earlier.m_Class == ShutdownMsg::k_ClassName || earlier.m_Class == MachineMsg::k_ClassName;
  decision.m_Outcome = isDoneOnce && earlier.m_Run != m_Run ? wire::Answer::UNKNOWN : wire::Answer::COMMITTED;
  if (decision.m_Outcome == wire::Answer::UNKNOWN)
    decision.m_Reason = "the Master was started anew after it had accepted this; whether it was carried out "
                        "is unknown, and it is not repeated";
  return decision;
}

Writer::Decision Writer::DecideNew(const Request& request) const {
  Decision decision;
  decision.m_Reason = WhyNotDecoded(*request.m_Peer, *request.m_Envelope);
  if (decision.m_Reason.empty() && !request.m_Message)
    decision.m_Reason = "this Master does not know this kind of request";
  if (decision.m_Reason.empty())
    decision.m_Reason = CheckBasis(m_Farm, *request.m_Message, request.m_Envelope->basis());
  if (!decision.m_Reason.empty())
    return decision;
  Judgement judgement = Judge(m_Farm, m_Commands, *request.m_Message);
  if (judgement.m_Refusal.empty() && judgement.m_Reply && !FitsFrame(*judgement.m_Reply))
    judgement.m_Refusal = "m_OptionNames: the reply would be too long; ask for fewer options at a time";
  if (!judgement.m_Refusal.empty()) {
    decision.m_Reason = judgement.m_Refusal;
    return decision;
  }
  decision.m_Outcome = wire::Answer::COMMITTED;
  decision.m_Effect = std::move(judgement.m_Effect);
  decision.m_Reply = judgement.m_Reply;
  return decision;
}

AuditRecord Writer::MakeRecord(const Request& request, const Decision& decision,
                               const std::string& digest) const {
  const Peer& peer = *request.m_Peer;
  AuditRecord record;
  record.m_Time = Time::Now().Milliseconds();
  record.m_ClientKey = peer.m_Key;
  record.m_ClientId = peer.m_ClientId;
  record.m_ClientName = peer.m_Name;
  record.m_Role = peer.m_Role;
  record.m_Kind = peer.m_Kind;
  record.m_Address = peer.m_Address;
  record.m_MessageId = request.m_Id;
  const char* const className = wire::ClassName(*request.m_Envelope);
  record.m_Class = className ? className : "Unknown";
  record.m_Digest = digest;
  record.m_Fields = AuditedFields(request, decision.m_Outcome == wire::Answer::REFUSED, digest);
  record.m_Result = ResultName(decision.m_Outcome, decision.m_Reply != nullptr);
  record.m_Reason = decision.m_Reason.str();
  record.m_Run = m_Run;
  return record;
}

void Writer::Publish(bool translations, bool products) {
  const auto earlier = m_Snapshots.Current();
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->m_Translations = translations ? MakeTranslationsFrame(m_Farm) : earlier->m_Translations;
  snapshot->m_Products = products ? MakeProductFrames(m_Farm) : earlier->m_Products;
  snapshot->m_DefaultIdleTimeout = m_Farm.DefaultIdleTimeout();
  snapshot->m_Message = m_Farm.Option(o_Message);
  m_Snapshots.Publish(std::move(snapshot));
}

} // namespace brenic::master
