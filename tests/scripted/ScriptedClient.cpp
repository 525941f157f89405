// The symbols of the framework's client layer.
#include "brenic/BrenicClientExecutable.h"
#include "scripted/Script.h"

using scripted::Script;
using scripted::TheScript;

namespace brenic {

void Messenger::SetClientInfo(const UID& id, int kind) {
  TheScript().m_ClientInfo.emplace_back(id, kind);
  TheScript().m_Events.emplace_back("SetClientInfo");
  if (TheScript().m_OnClientInfo)
    TheScript().m_OnClientInfo();
}

void Messenger::Send(const shared_ptr<Message>& message) {
  Script& script = TheScript();
  script.m_Sent.push_back(message);
  script.m_Events.push_back(std::string("Send ") + message->ClassName());
  if (script.m_OnSend)
    script.m_OnSend(message);
}

bool Messenger::WaitForSent(const UID& messageId, float seconds) {
  Script& script = TheScript();
  script.m_Waits.push_back({messageId, seconds});
  std::string name = messageId.ToString().str();
  for (const auto& message : script.m_Sent) {
    if (message->m_ID == messageId)
      name = message->ClassName();
  }
  script.m_Events.push_back("Wait " + name);
  if (script.m_OnWait)
    script.m_OnWait(messageId);
  if (script.m_Waits.size() > Script::k_PassLimit) {
    script.m_RanAway = true;
    throw new ConnectionEnded("a wait without end");
  }
  int& failures = script.m_Undelivered[messageId];
  if (failures == 0)
    return true;
  if (failures != Script::k_Always)
    --failures;
  return false;
}

const Time& Messenger::ConnectedTime() {
  return TheScript().m_ConnectedTime;
}

shared_ptr<MasterInfo> Messenger::MasterInfo() {
  ++TheScript().m_MasterInfoCalls;
  return TheScript().m_MasterInfo;
}

bool BrenicClientExecutable::Startup(CommandLine&) {
  ++TheScript().m_Startups;
  TheScript().m_Events.emplace_back("Startup");
  if (TheScript().m_OnStartup)
    TheScript().m_OnStartup();
  return TheScript().m_StartupResult;
}

int BrenicClientExecutable::Execute() {
  Script& script = TheScript();
  const auto pass = static_cast<size_t>(script.m_Executes++);
  script.m_Events.emplace_back("Execute");
  if (pass < script.m_Passes.size() && script.m_Passes[pass])
    script.m_Passes[pass]();
  if (script.m_Executes > Script::k_PassLimit) {
    script.m_RanAway = true;
    return 0;
  }
  return EndRequested() ? 0 : script.m_ExecuteResult;
}

void BrenicClientExecutable::OnInterrupt() {
  Stop();
}

void BrenicClientApp::Cleanup() {
  ++TheScript().m_Cleanups;
  TheScript().m_Events.emplace_back("Cleanup");
  if (TheScript().m_OnCleanup)
    TheScript().m_OnCleanup();
}

String BrenicClientApp::GetClientName() {
  return "scripted";
}

void BrenicClientApp::RequestHasFailed(const String& text) {
  TheScript().m_Refusals.push_back(text.str());
  Executable::Instance()->Note(k_ExitFailed);
}

} // namespace brenic
