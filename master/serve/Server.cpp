#include "serve/Server.h"

#include <systemd/sd-daemon.h>

#include <fmt/core.h>

#include "Release.h"
#include "brenic/MessageClasses.h"
#include "brenic/MessageFactory.h"
#include "rlib/Log.h"
#include "wire/Contents.h"

namespace brenic::master {

namespace {

// Counted from the beginning of the end; the goodbyes to the last ones come on top.
constexpr std::chrono::seconds k_AnswerFor{3}; // after a ShutdownMsg
constexpr std::chrono::seconds k_DropAfter{4};
static_assert(k_AnswerFor < k_DropAfter && k_DropAfter + Session::k_GoodbyeWithin <= Server::k_EndWithin);

template <typename Class>
Bytes PushFrame() {
  wire::Frame frame;
  wire::ToWire(*MessageFactory::Create<Class>(), *frame.mutable_message());
  return std::make_shared<const std::string>(wire::Encode(frame));
}

wire::Welcome MakeWelcome(const MasterRecord& master) {
  wire::Welcome welcome;
  welcome.set_protocol_version(wire::k_ProtocolVersion);
  welcome.set_id(wire::IdentifierBytes(master.m_ID));
  welcome.set_name(master.m_Name.str());
  welcome.set_version(k_Version);
  welcome.set_released(k_Released);
  welcome.set_started(Time::Now().Milliseconds());
  return welcome;
}

} // namespace

Server::Server(const ServerOptions& options, std::unique_ptr<Store> store, std::unique_ptr<Store> directory)
    : m_Work(m_Io.get_executor()), m_EndSignals(m_Io), m_EndTimer(m_Io),
      m_Clock(options.m_Clock ? options.m_Clock : ClockOf(*directory)), m_Care(options.m_Care),
      m_Machine(m_Io, options.m_Settings.m_Live.m_Commands),
      m_Places(options.m_Places, options.m_Settings.m_Live.m_ConnectionsPerCertificate), m_RefusalTimer(m_Io),
      m_Reloader(
          m_Io, options.m_Settings,
          [this, load = options.m_Load] {
            MendListeners();
            return load();
          },
          m_Writer, m_Machine, m_Places),
      m_Watchdog(m_Io, m_Writer), m_LookEvery(options.m_LookEvery), m_LookTimer(m_Io),
      m_Writer(std::move(store), {.m_Run = options.m_Run,
                                  .m_Deliver =
                                      [this](Batch batch) {
                                        asio::post(m_Io,
                                                   [this, batch = std::move(batch)] { OnBatch(batch); });
                                      },
                                  .m_Commands = options.m_Settings.m_Live.m_Commands,
                                  .m_Products = options.m_Settings.m_Live.m_Products,
                                  .m_Manage = options.m_Care.m_Manage,
                                  .m_Clock = m_Clock,
                                  .m_AuditKeep = options.m_Settings.m_Live.m_AuditKeep}),
      m_Directory(std::move(directory)) {
  if (const auto due = RenewalIfDue())
    (void)m_Writer.DecideNow({&*due, 1});
  m_Snapshot = m_Writer.FirstSnapshot();
  const MasterRecord master = m_Directory->LoadMaster();
  m_Welcome = MakeWelcome(master);
  const auto report = [this](const String& line) { ReportStranger(line); };
  const auto arrive = [this](Arrival arrival) { Arrive(std::move(arrival)); };
  m_Listeners.push_back(ListenTls(
      m_Io, options.m_Settings.m_Start.m_Listen, master,
      [this](const std::string& serial) { return m_Directory->FindClient(serial); },
      [this] { return m_Clock->Now(); }, report, arrive));
  if (const Path& socket = options.m_Settings.m_Start.m_Socket; !socket.empty())
    m_Listeners.push_back(ListenLocal(m_Io, socket, LocalUse::k_Clients, report, arrive));
  if (!options.m_ManagementSocket.empty())
    m_Listeners.push_back(
        ListenLocal(m_Io, options.m_ManagementSocket, LocalUse::k_Management, report, arrive));
  for (const int signal : options.m_EndSignals)
    m_EndSignals.add(signal);
  WatchSignals();
  if (options.m_ReloadSignal != 0)
    m_Reloader.At(options.m_ReloadSignal);
}

Server::~Server() = default;

void Server::Run() {
  m_Writer.Start();
  m_Watchdog.Start();
  LookAtTime();
  sd_notify(0, "READY=1");
  m_Io.run();
}

void Server::Stop() {
  asio::post(m_Io, [this] { EndSessions("the Master is ending"); });
}

void Server::WatchSignals() {
  m_EndSignals.async_wait([this](const error_code& cancelled, int signal) {
    if (cancelled)
      return;
    rlib::LogSystem(fmt::format("Ending because of signal {}", signal));
    EndSessions("the Master is ending");
  });
}

std::vector<std::shared_ptr<Session>> Server::Sessions() const {
  std::vector<std::shared_ptr<Session>> sessions;
  for (const auto& entry : m_Sessions)
    sessions.push_back(entry.second.m_Session);
  return sessions;
}

void Server::Arrive(Arrival arrival) {
  const auto session =
      std::make_shared<Session>(*this, m_Io, ++m_LastSession, std::move(arrival.m_Stream), arrival.m_Peer);
  Guest& guest = m_Sessions[session->Number()];
  guest.m_Session = session;
  if (arrival.m_Client)
    guest.m_Expires = arrival.m_Client->m_Expires;
  session->Start(arrival.m_Since);
  if (arrival.m_Rejection)
    return session->Reject(*arrival.m_Rejection);
  if (m_Ending)
    return session->End(wire::Goodbye::ENDING, "the Master is ending");
  auto place = m_Places.Take(arrival.m_Peer);
  if (!place) {
    m_TurnedAway.Log("The client at " + arrival.m_Peer.m_Address + " found no place: " + place.Reason());
    return session->TurnAway();
  }
  guest.m_Place = std::move(*place);
  if (arrival.m_IsValidityLearnt)
    m_Writer.Perform("What is known of certificates", [client = *arrival.m_Client](Store& store) {
      // Unless it has become known otherwise meanwhile.
      auto present = store.FindClient(client.m_Serial);
      if (!present || present->m_Expires)
        return;
      present->m_Issued = client.m_Issued;
      present->m_Expires = client.m_Expires;
      store.ReplaceClient(*present);
    });
}

void Server::Submit(Request request) {
  if (request.m_Refusal && request.m_Peer->m_Role != Role::k_Administrator) {
    if (m_Refusals.IsEmpty())
      WatchRefusals();
    m_Refusals.Take(request);
  }
  m_Writer.Submit(std::move(request));
}

void Server::Closed(uint64_t session) {
  m_Sessions.erase(session);
  m_Machine.SessionClosed(session);
  FinishWhenEmpty();
}

void Server::OnBatch(const Batch& batch) {
  // The writer may be ahead by now. What is pushed fits what this batch changed, not the newest list.
  m_Snapshot = batch.m_Snapshot;
  for (const RequestResult& result : batch.m_Results) {
    if (const auto session = m_Sessions.find(result.m_Session); session != m_Sessions.end()) {
      const auto held = session->second.m_Session; // it may leave while it is served
      held->Deliver(result);
    }
    if (result.m_Operation)
      CarryOut(result);
  }
  m_Writer.Taken(batch);
  if (batch.m_CertificatesChanged) {
    const MasterRecord master = m_Directory->LoadMaster();
    for (const auto& listener : m_Listeners)
      listener->Present(master);
    DismissWhoMayNotStay();
  }
  if (!batch.m_TranslationsChanged && !batch.m_ProductsChanged)
    return;
  const Bytes changes = batch.m_ChangedProducts
                            ? MakeProductChanges(*m_Snapshot->m_Products, *batch.m_ChangedProducts)
                            : nullptr;
  for (const auto& session : Sessions()) {
    if (batch.m_TranslationsChanged && session->Follows())
      session->PushTranslations();
    if (batch.m_ProductsChanged && session->Follows())
      session->PushProducts(changes);
  }
}

void Server::CarryOut(const RequestResult& result) {
  VisitMessage(*result.m_Operation, [&]<typename Class>(const Class& operation) {
    if constexpr (Class::k_Description.m_Kind == RequestKind::k_Operation)
      CarryOut(result.m_Session, operation);
  });
}

void Server::CarryOut(uint64_t asker, const LogDumpMsg&) {
  // When there is no dump, the log says why already.
  if (const auto file = rlib::Log::Dump())
    rlib::LogSystem("Wrote the log dump '" + file->str() + "'");
  const Bytes frame = PushFrame<LogDumpMsg>();
  for (const auto& session : Sessions()) {
    if (session->Number() != asker && session->Follows())
      session->Push(frame);
  }
}

void Server::CarryOut(uint64_t, const ShutdownMsg&) {
  ShutDownSystem();
}

void Server::CarryOut(uint64_t asker, const MachineMsg& message) {
  m_Machine.Accept(asker, message);
  if (!m_Sessions.count(asker))
    m_Machine.SessionClosed(asker);
}

void Server::BeginEnding() {
  m_Ending = true;
  m_EndBegan = std::chrono::steady_clock::now();
  sd_notify(0, "STOPPING=1");
  m_Reloader.Close();
  for (const auto& listener : m_Listeners)
    listener->Close();
  m_Writer.Hurry();
  m_Directory->Hurry();
}

void Server::ShutDownSystem() {
  if (m_Ending)
    return;
  rlib::LogSystem("The system is shutting down");
  BeginEnding();
  const Bytes frame = PushFrame<ShutdownMsg>();
  for (const auto& session : Sessions()) {
    if (session->Follows())
      session->Push(frame);
    else
      session->End(wire::Goodbye::ENDING, "the Master is ending");
  }
  m_EndTimer.expires_at(m_EndBegan + k_AnswerFor);
  m_EndTimer.async_wait([this](const error_code& cancelled) {
    if (!cancelled)
      EndSessions("the system was shut down");
  });
  FinishWhenEmpty();
}

void Server::EndSessions(const String& text) {
  if (m_Finished)
    return;
  if (!m_Ending)
    BeginEnding();
  m_EndTimer.expires_at(m_EndBegan + k_DropAfter);
  m_EndTimer.async_wait([this](const error_code& cancelled) {
    if (!cancelled)
      DropSessions();
  });
  for (const auto& session : Sessions())
    session->End(wire::Goodbye::ENDING, text);
  FinishWhenEmpty();
}

void Server::DropSessions() {
  m_Writer.Abandon();
  for (const auto& session : Sessions())
    session->Drop("the Master ends");
}

void Server::FinishWhenEmpty() {
  if (!m_Ending || m_Finished || !m_Sessions.empty())
    return;
  // Run returns when the streams that are saying goodbye are done, which they are soon.
  m_Finished = true;
  m_EndTimer.cancel();
  m_EndSignals.cancel();
  m_RefusalTimer.cancel();
  m_Watchdog.Close();
  m_LookTimer.cancel();
  KeepSightings();
  KeepTime();
  RecordRefusals();
  m_Machine.Finish();
  m_Work.reset();
}

} // namespace brenic::master
