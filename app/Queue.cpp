#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "brenic/Messenger.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"

using namespace brenic;
using namespace rlib;

namespace {

constexpr float k_Slice = 0.25f; // seconds that one request can hold up the end of the run

bool Delivered(const Message& message) {
  return Messenger::WaitForSent(message.m_ID, k_Slice);
}

/// Sends the message if there is one.
void SendPending(const boost::shared_ptr<Message>& message) {
  if (message)
    Messenger::Send(message);
}

void SendMachineCommand(MachineMsg::Command command) {
  const auto message = MessageFactory::Create<MachineMsg>();
  message->m_Command = command;
  message->m_Machine = UID::Null;
  Messenger::Send(message);
}

/// Waits for a pending request and releases it when it was delivered; without one, `result` stays.
template <typename Class>
void Await(boost::shared_ptr<Class>& pending, bool& result) {
  if (!pending)
    return;
  result = Delivered(*pending);
  if (result)
    pending.reset();
}

} // namespace

void SetwrightApp::QueueMessages() {
  _CallEntry entry("SetwrightApp::QueueMessages", "Setwright", __LINE__);
  LogSystem("Queue Messages");
  SendPending(m_OptionsMsg);
  for (const auto& [type, message] : m_TypeOptionsMsgs)
    SendPending(message);
  SendPending(m_LimitsMsg);
  SendPending(m_RestrictionsMsg);
  SendPending(m_LogDumpMsg);
  SendPending(m_UserLimitsMsg);
  if (m_SuperExit)
    Messenger::Send(MessageFactory::CreateMessage(ShutdownMsg::s_Type));
  if (m_Reboot) {
    SendMachineCommand(MachineMsg::k_Reboot);
    m_Reboot = false;
  }
  if (m_Shutdown) {
    SendMachineCommand(MachineMsg::k_Shutdown);
    m_Shutdown = false;
  }
  for (const auto& message : m_ProductMsgs)
    Messenger::Send(message);
}

bool SetwrightApp::WaitForMessages() {
  _CallEntry entry("SetwrightApp::WaitForMessages", "Setwright", __LINE__);
  if (Messenger::ConnectedTime().IsZero())
    return false;
  LogSystem("Wait For Messages");

  // The result is that of the last single request awaited, whatever became of the earlier ones: what got
  // through ends the run at once, and the rest is left to the framework's loop and its clean end.
  bool optionsDelivered = true;
  Await(m_OptionsMsg, optionsDelivered);
  bool result = !m_TypeOptionsMsgs.empty() || optionsDelivered;
  for (const auto& [type, message] : m_TypeOptionsMsgs) {
    if (!Delivered(*message)) {
      result = false;
      break;
    }
  }
  if (result)
    m_TypeOptionsMsgs.clear();
  Await(m_LimitsMsg, result);
  Await(m_RestrictionsMsg, result);
  Await(m_PathTranslationsMsg, result);
  Await(m_LogDumpMsg, result);
  Await(m_UserLimitsMsg, result);

  while (!m_ProductMsgs.empty()) {
    if (Delivered(*m_ProductMsgs.back()))
      m_ProductMsgs.pop_back();
  }
  return result;
}
