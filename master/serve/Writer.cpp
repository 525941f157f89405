#include "serve/Writer.h"

#include <utility>

#include <unistd.h>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "rlib/Log.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

bool IsRead(const Request& request) {
  return request.m_Message && request.m_Message->Description().m_Kind == RequestKind::k_Read;
}

const char* ResultName(wire::Answer::Outcome outcome, bool isRead) {
  if (outcome != wire::Answer::COMMITTED)
    return "refused";
  return isRead ? "answered" : "committed";
}

/// What is on disk may not be what is in memory any more, so nothing can be promised.
[[noreturn]] void EndProcess(const std::string& reason) {
  rlib::Report(rlib::Log::k_Error, "The Master ends, because its database failed: " + reason);
  _exit(1);
}

} // namespace

Writer::Writer(std::unique_ptr<Store> store, WriterOptions options)
    : m_Store(std::move(store)), m_Commands(std::move(options.m_Commands)),
      m_Deliver(std::move(options.m_Deliver)), m_Run(std::move(options.m_Run)),
      m_Products(std::move(options.m_Products)), m_Manage(std::move(options.m_Manage)),
      m_Clock(options.m_Clock ? std::move(options.m_Clock) : std::make_shared<TrustedClock>()),
      m_Farm(m_Store->LoadFarm()),
      m_Keeping(*m_Store, {options.m_AuditKeep, [this] {
                             return m_Clock->IsInDoubt() ? std::nullopt : std::optional(m_Clock->Now());
                           }}) {
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
  try {
    if (!m_Store->Finish())
      rlib::LogWarning("Another program uses the database, so its log stays beside it");
  } catch (const std::exception& error) {
    rlib::LogError(String("The database's log stays beside it: ") + error.what());
  }
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

void Writer::SetAuditKeep(int days) {
  Do([this, days] { m_Keeping.SetDays(days); });
}

bool Writer::TakeWork(std::vector<Request>& requests, std::vector<std::function<void()>>& tasks) {
  std::unique_lock lock(m_Mutex);
  m_Wake.wait_until(lock, m_Keeping.Due(AuditKeeping::Clock::now()),
                    [this] { return m_Stop || !m_Queue.empty() || !m_Tasks.empty(); });
  requests.swap(m_Queue);
  tasks.swap(m_Tasks);
  return !m_Stop || !requests.empty() || !tasks.empty();
}

void Writer::Serve(Requests requests) {
  while (!requests.empty() && !m_Abandoned) {
    WaitUntilTaken();
    Batch batch = Process(requests);
    requests = requests.subspan(batch.m_Results.size());
    {
      std::lock_guard lock(m_Mutex);
      m_NotTaken += batch.Bytes();
    }
    m_Deliver(std::move(batch));
    m_Keeping.AfterRound(AuditKeeping::Clock::now());
  }
}

void Writer::Run() {
  for (;;) {
    std::vector<Request> requests;
    std::vector<std::function<void()>> tasks;
    if (!TakeWork(requests, tasks))
      return;
    try {
      if (requests.empty() && tasks.empty())
        KeepWhileIdle();
      Serve(requests);
      for (const auto& task : tasks) {
        task();
        ++m_Steps;
      }
    } catch (const std::exception& error) {
      EndProcess(error.what());
    } catch (Exception* error) {
      EndProcess(error->Message().str());
    }
  }
}

void Writer::KeepWhileIdle() {
  m_Keeping.Work(AuditKeeping::Clock::now(), [this] {
    std::lock_guard lock(m_Mutex);
    return !m_Stop && m_Queue.empty() && m_Tasks.empty();
  });
}

void Writer::Taken(const Batch& batch) {
  {
    std::lock_guard lock(m_Mutex);
    m_NotTaken -= batch.Bytes();
  }
  m_Wake.notify_one();
}

void Writer::WaitUntilTaken() {
  std::unique_lock lock(m_Mutex);
  m_Wake.wait(lock, [this] { return m_Stop || m_NotTaken < k_MaxReplies; });
}

Batch Writer::Process(Requests requests) {
  try {
    return Commit(requests);
  } catch (const StoreFailure& failure) {
    if (failure.Which() == StoreFailure::Kind::k_Broken)
      throw;
    rlib::LogError(fmt::format("Writes are refused: {}", failure.what()));
    m_Store->Rollback();
    m_Farm = m_Store->LoadFarm();
    return AnswerWithoutStoring(requests, failure.Which() == StoreFailure::Kind::k_Full
                                              ? "The Master's disk is full; this request changed nothing"
                                              : "Another program holds the Master's database; this request "
                                                "changed nothing and can be repeated");
  }
}

Batch Writer::Commit(Requests requests) {
  Batch batch;
  size_t bytes = 0;
  m_Store->Begin();
  for (const Request& request : requests) {
    const std::string digest = Sha256(*request.m_Bytes);
    Decision decision = Decide(request, digest, true);
    const bool committed = decision.m_Record && decision.m_Outcome == wire::Answer::COMMITTED;
    if (decision.m_Record) {
      batch.NoteNews(m_Farm, decision.m_Judgement);
      const auto change = std::make_shared<const Change>(std::move(decision.m_Judgement.m_Change));
      m_Store->Apply(*change);
      m_Store->Record(MakeRecord(request, decision, digest, change));
      m_Farm.Take(*change);
    }
    RequestResult result =
        MakeResult(request, decision.m_Outcome, decision.m_Reason, decision.m_Judgement.m_Reply.get());
    batch.m_CertificatesChanged |= committed && IsForManagers(request);
    if (committed && request.m_Message->Description().m_Kind == RequestKind::k_Operation)
      result.m_Operation = request.m_Message;
    bytes += result.m_Frames->size();
    batch.m_Results.push_back(std::move(result));
    ++m_Steps;
    if (bytes >= k_MaxReplies || m_Abandoned)
      break;
  }
  m_Store->Commit();
  Publish(batch.m_TranslationsChanged, batch.m_ProductsChanged);
  batch.m_Snapshot = m_Snapshot;
  return batch;
}

Batch Writer::AnswerWithoutStoring(Requests requests, const String& reason) {
  Batch batch;
  size_t bytes = 0;
  batch.m_Snapshot = m_Snapshot;
  for (const Request& request : requests) {
    Decision decision = Decide(request, Sha256(*request.m_Bytes), false);
    const bool isWrite = decision.m_Record && !IsRead(request);
    if (isWrite && decision.m_Outcome == wire::Answer::COMMITTED) {
      decision.m_Outcome = wire::Answer::REFUSED;
      decision.m_Reason = reason;
    }
    batch.m_Results.push_back(
        MakeResult(request, decision.m_Outcome, decision.m_Reason, decision.m_Judgement.m_Reply.get()));
    bytes += batch.m_Results.back().m_Frames->size();
    if (bytes >= k_MaxReplies)
      break;
  }
  return batch;
}

AuditRecord Writer::MakeRecord(const Request& request, const Decision& decision, const std::string& digest,
                               std::shared_ptr<const Change> change) const {
  const Peer& peer = *request.m_Peer;
  AuditRecord record;
  record.m_Time = m_Clock->Wall();
  record.m_ClientKey = peer.m_Key;
  record.m_ClientId = peer.m_ClientId;
  record.m_ClientName = peer.m_Name;
  record.m_Role = peer.m_Role;
  record.m_Kind = peer.m_Kind;
  record.m_Address = peer.m_Address;
  record.m_MessageId = request.m_Id;
  record.m_Class = request.m_Class ? request.m_Class : "Unknown";
  record.m_Digest = digest;
  record.m_Size = request.m_Bytes->size();
  record.m_Request = KeptBytes(request, *change);
  if (!change->IsEmpty())
    record.m_Change = std::move(change);
  record.m_Result = ResultName(decision.m_Outcome, IsRead(request));
  record.m_Reason = decision.m_Reason.str();
  record.m_Run = m_Run;
  return record;
}

void Writer::Publish(bool translations, bool products) {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->m_Translations = translations ? MakeTranslationsFrame(m_Farm) : m_Snapshot->m_Translations;
  snapshot->m_Products = products ? MakeProductFrames(m_Farm) : m_Snapshot->m_Products;
  snapshot->m_DefaultIdleTimeout = m_Farm.DefaultIdleTimeout();
  snapshot->m_Message = m_Farm.Option(o_Message);
  m_Snapshot = std::move(snapshot);
}

} // namespace brenic::master
