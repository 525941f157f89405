#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::AddOption(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::AddOption", "Setwright", __LINE__);
  if (index + 1 >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, "Not enough parameters for commandline switch -Option");
    return false;
  }
  const String name = cmd.GetArgument(nullptr, index + 1, k_Empty);
  const String value = cmd.GetArgument(nullptr, index + 2, k_Empty);
  index += 2;
  if (name.empty()) {
    Report(Log::k_Error, "Empty option names are not allowed for commandline switch -Option");
    return false;
  }
  OptionsMsg().m_Options[name] = value;
  LogSystem("Setting Distribution option '" + name + "' to '" + value + "'");
  return true;
}

SetMasterOptionsMsg& SetwrightApp::OptionsMsg() {
  if (!m_OptionsMsg) {
    m_OptionsMsg = MessageFactory::Create<SetMasterOptionsMsg>();
    m_OptionsMsg->m_Section = o_Distribution;
  }
  return *m_OptionsMsg;
}
