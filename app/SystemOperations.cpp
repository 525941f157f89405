#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::DumpLogs() {
  _CallEntry entry("SetwrightApp::DumpLogs", "Setwright", __LINE__);
  LogSystem("Requesting system-wide log dump");
  m_LogDumpMsg = MessageFactory::Create<LogDumpMsg>();
  return true;
}

bool SetwrightApp::SuperExit() {
  _CallEntry entry("SetwrightApp::SuperExit", "Setwright", __LINE__);
  LogSystem("Requesting system-wide shutdown");
  m_SuperExit = true;
  return true;
}

bool SetwrightApp::Reboot() {
  _CallEntry entry("SetwrightApp::Reboot", "Setwright", __LINE__);
  LogSystem("Requesting to reboot the Master's machine");
  m_Reboot = true;
  return true;
}

bool SetwrightApp::Shutdown() {
  _CallEntry entry("SetwrightApp::Shutdown", "Setwright", __LINE__);
  LogSystem("Requesting to shutdown the Master's machine");
  m_Shutdown = true;
  return true;
}
