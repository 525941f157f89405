#include "client/Client.h"

#include "brenic/Messenger.h"
#include "brenic/SystemMessages.h"
#include "client/RequestName.h"
#include "rlib/Log.h"
#include "wire/Contents.h"

namespace brenic {

namespace {

std::unique_ptr<Client> s_Client;
std::once_flag s_Once;

Client::Clock::time_point Deadline(float seconds) {
  constexpr float k_Longest = 1e9F; // beyond what a clock holds
  if (seconds < 0 || !(seconds < k_Longest))
    return Client::Clock::time_point::max();
  return Client::Clock::now() +
         std::chrono::duration_cast<Client::Clock::duration>(std::chrono::duration<double>(seconds));
}

} // namespace

Client& Client::Instance() {
  std::call_once(s_Once, [] { s_Client = std::make_unique<Client>(); });
  return *s_Client;
}

void Client::Renew() {
  Instance();
  s_Client = std::make_unique<Client>();
}

Client::~Client() {
  CloseConnection();
}

void Client::SetInfo(const UID& id, int kind) {
  m_Id = id;
  m_Kind = kind;
}

void Client::Start(BrenicClientApp& app, Executable& executable, const String& name,
                   std::optional<std::chrono::milliseconds> connectTimeout,
                   const MakeConnector& makeConnector, const MasterConnection::Timing& timing) {
  m_App = &app;
  m_Executable = &executable;
  m_MainThread = std::this_thread::get_id();
  executable.SetWake([this] {
    m_Events.Wake();
    std::lock_guard lock(m_Mutex);
    m_Changed.notify_all();
  });
  MasterConnection::Options options;
  options.m_ClientId = m_Id;
  options.m_Kind = m_Kind;
  options.m_Name = name;
  options.m_Version = BRENIC_VERSION;
  options.m_ConnectTimeout = connectTimeout;
  options.m_Timing = timing;
  m_Connection = std::make_unique<MasterConnection>(m_Io, makeConnector(m_Io), std::move(options), m_Events);
  m_Thread = std::thread([this] {
    try {
      const auto work = asio::make_work_guard(m_Io);
      m_Connection->Start();
      m_Io.run();
    } catch (const std::exception& error) {
      m_Executable->ThreadException(nullptr);
      m_Events.Push(Ended{String("The connection to the Master failed: ") + error.what(), false});
    }
  });
}

void Client::Send(const shared_ptr<Message>& message) {
  wire::Frame frame;
  wire::ToWire(*message, *frame.mutable_message());
  {
    std::lock_guard lock(m_Mutex);
    frame.mutable_message()->set_basis(m_Basis.For(*message));
  }
  const std::optional<String> excess = wire::Excess(frame);
  auto bytes = excess ? nullptr : std::make_shared<const std::string>(wire::Encode(frame));
  const bool isShutdown = message->Type() == ShutdownMsg::s_Type;
  const bool isMain = std::this_thread::get_id() == m_MainThread; // whose the registry is
  const String name = RequestName(*message, isMain ? &JobFactory::s_JobFactory : nullptr);

  std::lock_guard lock(m_Mutex);
  m_Requests.Add(message->m_ID, message->Description(), name);
  if (excess)
    m_Events.Push(Answered{message->m_ID, Outcome::k_NotSent, *excess});
  if (excess || m_Ended)
    return;
  asio::post(m_Io, [this, id = message->m_ID, isShutdown, bytes = std::move(bytes)]() mutable {
    if (m_Connection)
      m_Connection->Submit(id, isShutdown, std::move(bytes));
  });
}

bool Client::IsAnswered(const UID& id) {
  std::lock_guard lock(m_Mutex);
  return m_Requests.IsAnswered(id);
}

size_t Client::PendingCount() {
  std::lock_guard lock(m_Mutex);
  return m_Requests.PendingCount();
}

bool Client::Over() {
  std::lock_guard lock(m_Mutex);
  return m_Ended || m_Executable->EndRequested();
}

bool Client::WaitForSent(const UID& messageId, float seconds) {
  const auto deadline = Deadline(seconds);
  if (std::this_thread::get_id() != m_MainThread)
    return WaitElsewhere(messageId, deadline);
  while (!IsAnswered(messageId)) {
    if (Over())
      throw new ConnectionEnded("A wait ended because the connection, or the run, has ended");
    auto event = m_SlotDepth == 0 ? m_Events.Pop(deadline) : m_Events.PopFor(messageId, deadline);
    if (event)
      Deal(*event, true);
    if (Clock::now() >= deadline) // also behind an event: more may keep arriving
      return IsAnswered(messageId);
  }
  return true;
}

bool Client::WaitElsewhere(const UID& id, Clock::time_point deadline) {
  std::unique_lock lock(m_Mutex);
  const auto over = [&] { return m_Requests.IsAnswered(id) || m_Ended || m_Executable->EndRequested(); };
  if (deadline == Clock::time_point::max())
    m_Changed.wait(lock, over);
  else
    m_Changed.wait_until(lock, deadline, over);
  if (m_Requests.IsAnswered(id))
    return true;
  if (over())
    throw new ConnectionEnded("A wait ended because the connection, or the run, has ended");
  return false;
}

bool Client::Pass(std::chrono::milliseconds atMost) {
  const auto goOn = [this] {
    const bool idle = PendingCount() == 0;
    return !Over() && !(idle && (m_EndWhenIdle || m_ShutdownReceived));
  };
  if (!goOn())
    return false;
  if (auto event = m_Events.Pop(Clock::now() + atMost))
    Deal(*event, true);
  return goOn();
}

void Client::Finish() {
  if (!m_Thread.joinable())
    return;
  const auto ended = [this] {
    std::lock_guard lock(m_Mutex);
    return m_Ended;
  };
  while (!m_EndReported && (ended() || PendingCount() > 0)) {
    if (auto event = m_Events.Pop(Clock::time_point::max()))
      Deal(*event, false);
  }
  if (m_ShutdownReceived && !m_ProductsAnnounced) {
    m_Executable->Note(k_ExitNoConnection);
    rlib::Report(rlib::Log::k_Error, "The Master is shutting down; nothing was asked of it");
  }
  CloseConnection();
  Summarise();
}

void Client::Summarise() {
  std::lock_guard lock(m_Mutex);
  if (!m_Requests.NeedSummary())
    return;
  for (const String& line : m_Requests.Details())
    rlib::LogInfo(line);
  m_Executable->SetLastLine(m_Requests.Summary());
}

void Client::CloseConnection() {
  if (!m_Thread.joinable())
    return;
  asio::post(m_Io, [this] {
    m_Connection->Stop();
    m_Io.stop();
  });
  m_Thread.join();
  m_Connection.reset();
  // A client that the process's end destroys may have outlived the executable.
  if (Executable::Instance() == m_Executable)
    m_Executable->SetWake({});
}

} // namespace brenic
