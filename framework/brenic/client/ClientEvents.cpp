// The part of a client that deals with what arrives. Main thread.
#include <fmt/core.h>

#include "brenic/ProductMessages.h"
#include "brenic/SystemMessages.h"
#include "client/Client.h"
#include "rlib/Log.h"

namespace brenic {

namespace {

/// Begins with a capital.
std::string AsSentence(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

} // namespace

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
  std::optional<RequestState> request;
  {
    std::lock_guard lock(m_Mutex);
    request = m_Requests.Take(event.m_Request, event.m_Outcome);
  }
  if (!request)
    return;
  m_Changed.notify_all();
  const bool isShutdown = request->m_Class->m_Type == ShutdownMsg::s_Type;
  m_EndWhenIdle = m_EndWhenIdle || (isShutdown && event.m_Outcome != Outcome::k_Committed);
  const char* const what = request->m_Class->m_Words;
  const std::string& why = event.m_Reason.str();
  switch (event.m_Outcome) {
  case Outcome::k_Refused:
    return m_App->RequestHasFailed(fmt::format("The Master refused to {}: {}", what, why));
  case Outcome::k_NotSent:
    return m_App->RequestHasFailed(fmt::format("Cannot send {}: {}", request->m_Name.str(), why));
  case Outcome::k_Unknown:
    m_Executable->Note(k_ExitUnknownOutcome);
    return rlib::Report(rlib::Log::k_Error,
                        fmt::format("It is unknown whether the Master did {}: {}", what, why));
  case Outcome::k_Committed:
    if (request->m_Class->m_Kind == RequestKind::k_Read && !event.m_Replied)
      m_App->RequestHasFailed(
          fmt::format("The Master did not {}: it confirmed the request without a reply", what));
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
  const std::string text = AsSentence(event.m_Text.str());
  if (const size_t pending = PendingCount(); pending > 0) {
    m_Executable->Note(k_ExitUnknownOutcome);
    rlib::Report(rlib::Log::k_Error,
                 fmt::format("{}. The outcome of {} request(s) is unknown: look before you repeat them", text,
                             pending));
  } else if (!event.m_Orderly) {
    m_Executable->Note(k_ExitNoConnection);
    rlib::Report(rlib::Log::k_Error, text);
  }
}

} // namespace brenic
