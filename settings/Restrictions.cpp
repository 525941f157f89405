#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::AddRestriction(CommandLine& cmd, int& index, bool add) {
  _CallEntry entry("SetwrightApp::AddRestriction", "Setwright", __LINE__);
  if (index + 1 >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, add ? "Not enough parameters for commandline switch -AddRestriction"
                             : "Not enough parameters for commandline switch -RemoveRestriction");
    return false;
  }
  const String name = cmd.GetArgument(nullptr, index + 1, k_Empty);
  index += 1;
  if (name.empty()) {
    Report(Log::k_Error, add ? "Cannot add empty restriction name" : "Cannot remove empty restriction name");
    return false;
  }
  RestrictionsMsg().m_Restrictions[name] = add;
  LogSystem((add ? "Adding restriction: " : "Removing restriction: ") + name);
  return true;
}

SetMasterRestrictionsMsg& SetwrightApp::RestrictionsMsg() {
  if (!m_RestrictionsMsg)
    m_RestrictionsMsg = MessageFactory::Create<SetMasterRestrictionsMsg>();
  return *m_RestrictionsMsg;
}
