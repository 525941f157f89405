#include "client/Client.h"

#include <fmt/core.h>

#include "brenic/Messenger.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"
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
  if (frame.ByteSizeLong() > wire::k_MaxFrame)
    throw new Exception(fmt::format("A request of {} bytes is too large to be sent; {} are allowed",
                                    frame.ByteSizeLong(), wire::k_MaxFrame));
  auto bytes = std::make_shared<const std::string>(wire::Encode(frame));
  const bool isShutdown = message->Type() == ShutdownMsg::s_Type;

  std::lock_guard lock(m_Mutex);
  m_Pending.emplace(message->m_ID, Pending{message->Description().m_Words, isShutdown});
  if (m_Ended)
    return;
  asio::post(m_Io, [this, id = message->m_ID, isShutdown, bytes = std::move(bytes)]() mutable {
    if (m_Connection)
      m_Connection->Submit(id, isShutdown, std::move(bytes));
  });
}

bool Client::IsAnswered(const UID& id) {
  std::lock_guard lock(m_Mutex);
  return m_Answered.contains(id);
}

size_t Client::PendingCount() {
  std::lock_guard lock(m_Mutex);
  return m_Pending.size();
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
  const auto over = [&] { return m_Answered.contains(id) || m_Ended || m_Executable->EndRequested(); };
  if (deadline == Clock::time_point::max())
    m_Changed.wait(lock, over);
  else
    m_Changed.wait_until(lock, deadline, over);
  if (m_Answered.contains(id))
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

void Client::Deal(Event& event, bool deliver) {
  if (auto* connected = std::get_if<Connected>(&event))
    On(*connected);
  else if (auto* arrived = std::get_if<Arrived>(&event))
    On(*arrived, deliver);
  else if (auto* answered = std::get_if<Answered>(&event))
    On(*answered);
  else
    On(std::get<Ended>(event));
}

void Client::On(Connected& event) {
  m_Info = event.m_Info;
  if (m_ConnectedTime.IsZero())
    m_ConnectedTime = Time::Now();
  rlib::LogSystem("Connected to the Master " + m_Info->m_Name);
}

void Client::On(Arrived& event, bool deliver) {
  const UID& type = event.m_Message->Type();
  if (type == LogDumpMsg::s_Type)
    rlib::Log::Dump();
  if (type == ShutdownMsg::s_Type)
    m_ShutdownReceived = true;
  if (type == ProductMsg::s_Type)
    JobFactory::s_JobFactory.Install(static_cast<const ProductMsg&>(*event.m_Message).m_Product);
  if (type == RemoveProductMsg::s_Type)
    JobFactory::s_JobFactory.Remove(static_cast<const RemoveProductMsg&>(*event.m_Message).m_ProductType);
  if (type == EndProductsMsg::s_Type) {
    if (event.m_Products)
      JobFactory::s_JobFactory.Replace(*event.m_Products);
    if (m_ProductsAnnounced)
      return;
  }
  if (!deliver)
    return;
  m_ProductsAnnounced = m_ProductsAnnounced || type == EndProductsMsg::s_Type;
  {
    std::lock_guard lock(m_Mutex);
    m_Basis.Delivered(event.m_Message);
  }
  Emit(event.m_Message);
}

void Client::Emit(const shared_ptr<Message>& message) {
  struct Depth {
    int& m_Depth;
    explicit Depth(int& depth) : m_Depth(depth) { ++m_Depth; }
    ~Depth() { --m_Depth; }
  };
  const Depth inSlot(m_SlotDepth);
  if (message->EmitTo(message) == 0)
    m_App->OnUnhandledMessage(message);
}

void Client::On(const Answered& event) {
  Pending pending{};
  {
    std::lock_guard lock(m_Mutex);
    const auto found = m_Pending.find(event.m_Request);
    if (found == m_Pending.end())
      return;
    pending = found->second;
    m_Pending.erase(found);
    m_Answered.insert(event.m_Request);
  }
  m_Changed.notify_all();
  if (event.m_Outcome == Outcome::k_Refused) {
    m_EndWhenIdle = m_EndWhenIdle || pending.m_IsShutdown;
    m_App->RequestHasFailed(
        fmt::format("The Master refused to {}: {}", pending.m_What, event.m_Reason.str()));
  } else if (event.m_Outcome == Outcome::k_Unknown) {
    m_EndWhenIdle = m_EndWhenIdle || pending.m_IsShutdown;
    m_Executable->Note(k_ExitUnknownOutcome);
    rlib::Report(rlib::Log::k_Error, fmt::format("It is unknown whether the Master did {}: {}",
                                                 pending.m_What, event.m_Reason.str()));
  }
}

void Client::On(Ended& event) {
  {
    std::lock_guard lock(m_Mutex);
    m_Ended = true;
  }
  m_Changed.notify_all();
  // Taken out of turn: answers that came before it still stand in the queue, and decide what is reported.
  if (m_SlotDepth > 0)
    m_Events.Push(std::move(event));
  else
    Report(event);
}

void Client::Report(const Ended& event) {
  m_EndReported = true;
  if (const size_t pending = PendingCount(); pending > 0) {
    m_Executable->Note(k_ExitUnknownOutcome);
    rlib::Report(rlib::Log::k_Error,
                 fmt::format("{}. The outcome of {} request(s) is unknown: look before you repeat them",
                             event.m_Text.str(), pending));
  } else if (!event.m_Orderly) {
    m_Executable->Note(k_ExitNoConnection);
    rlib::Report(rlib::Log::k_Error, event.m_Text);
  }
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
