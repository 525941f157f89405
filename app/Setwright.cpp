#include "SetwrightApp.h"

#include "brenic/Messenger.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/SFormat.h"
#include "rlib/Stream.h"
#include "rlib/Version.h"

using namespace brenic;
using namespace rlib;

SetwrightApp::SetwrightApp() = default;

SetwrightApp::~SetwrightApp() {
  DisconnectAll();
}

bool SetwrightApp::Startup(CommandLine& cmd) {
  _CallEntry entry("SetwrightApp::Startup", "Setwright", __LINE__);
  if (cmd.HasSwitch("h")) {
    Usage();
    m_ExitCode = k_ExitHelp;
    return false;
  }
  m_DisplayJSON = cmd.HasSwitch("JSON");
  EndProductsMsg::s_Signal.Connect(this, &SetwrightApp::ReceivedAllProducts);
  PathTranslationsMsg::s_Signal.Connect(this, &SetwrightApp::OnPathTranslations);
  SetMasterOptionsMsg::s_Signal.Connect(this, &SetwrightApp::OnSetMasterOptionsMsg);
  Messenger::SetClientInfo(UID(true), 3);
  return BrenicClientExecutable::Startup(cmd);
}

void SetwrightApp::ReceivedAllProducts(const boost::shared_ptr<EndProductsMsg>&) {
  // Deliberately traced under the event's name: existing crash reports, and what searches them, have it so.
  _CallEntry entry("SetwrightApp::OnBrenicAppStartupEvt", "Setwright", __LINE__);
  LogSystem("Received products: Parsing command line");
  if (!ParseCommandLine(m_CommandLine)) {
    LogSystem("No valid options were found to send");
    Usage();
    m_ExitCode = k_ExitFailed;
    Signal(0);
  }
  if (m_ShowInfo)
    ShowInfo();
  QueueMessages();
  m_ProductsReceived = true;
}

void SetwrightApp::ShowInfo() {
  _CallEntry entry("SetwrightApp::ShowInfo", "Setwright", __LINE__);
  const auto line = [](const char* label, const String& value) {
    stdOut.Put(label + value);
    stdOut.PutEOL();
  };
  line("Master ID:\t", Messenger::MasterInfo()->m_ID.ToString());
  line("Master Name:\t", Messenger::MasterInfo()->m_Name);
  line("Master Version:\t", VER_STRING(Messenger::MasterInfo()->m_Version));
  line("Master Released:\t", Messenger::MasterInfo()->m_Released.Format("%Y-%m-%d"));
  line("Master Started:\t", Messenger::MasterInfo()->m_Started.Format(k_DefaultDateTime));
  line("Default Idle Timeout:\t", SFormat("%u minutes", Messenger::MasterInfo()->m_DefaultIdleTimeout));
  line("Message:\t", Messenger::MasterInfo()->m_Message);
}

int SetwrightApp::Execute() {
  _CallEntry entry("SetwrightApp::Execute", "Setwright", __LINE__);
  if (!m_ProductsReceived || m_Reboot || m_Shutdown || m_SuperExit)
    return BrenicClientExecutable::Execute();
  ProcessPathTranslations();
  if (m_ShowPathTranslations)
    return BrenicClientExecutable::Execute();
  if (!m_AddTranslations.empty() || !m_RemoveRoots.empty())
    return BrenicClientExecutable::Execute();
  if (!WaitForMessages())
    return BrenicClientExecutable::Execute();
  return 0;
}

void SetwrightApp::Cleanup() {
  _CallEntry entry("SetwrightApp::Cleanup", "Setwright", __LINE__);
  m_OptionsMsg.reset();
  m_TypeOptionsMsgs.clear();
  m_LimitsMsg.reset();
  m_UserLimitsMsg.reset();
  m_AddTranslations.clear();
  m_RemoveRoots.clear();
  m_PathTranslationsMsg.reset();
  m_LogDumpMsg.reset();
  // The restrictions and product messages deliberately stay until the destructor; nothing depends on it but
  // the moment at which they are freed.
  BrenicClientApp::Cleanup();
}

bool SetwrightApp::OnException(Exception* e) {
  _CallEntry entry("SetwrightApp::OnException", "Setwright", __LINE__);
  // The spelling is known to the scripts that look for it.
  stdOut.Put(e ? "Terminated by " + e->Name() + " exception" : String("Termianted by UNKNOWN excpetion"));
  stdOut.PutEOL();
  stdOut.PutEOL();
  return false;
}
