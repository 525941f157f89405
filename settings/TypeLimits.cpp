#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/SFormat.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::AddLimit(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::AddLimit", "Setwright", __LINE__);
  if (index + 1 >= cmd.GetArgumentCount(nullptr)) {
    // Deliberately the text of the other switch: scripts were written against it.
    Report(Log::k_Error, "Not enough parameters for commandline switch -TypeOption");
    return false;
  }
  const String typeText = cmd.GetArgument(nullptr, index + 1, k_Empty);
  const int limit = cmd.GetArgument(nullptr, index + 2, -1);
  index += 2;
  UID type(false);
  if (!m_JobFactory.FindType(typeText, type)) {
    Report(Log::k_Error, "Could not determine Product type from '" + typeText + "' for -Limit");
    return false;
  }
  LimitsMsg().m_Limits[type] = limit;
  LogSystem("Setting '" + typeText + SFormat("' Limit %d", limit));
  return true;
}

SetMasterLimitsMsg& SetwrightApp::LimitsMsg() {
  if (!m_LimitsMsg)
    m_LimitsMsg = MessageFactory::Create<SetMasterLimitsMsg>();
  return *m_LimitsMsg;
}
