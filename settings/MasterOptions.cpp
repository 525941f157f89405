#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::AddOption(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::AddOption", "Setwright", __LINE__);
  String error;
  if (index + 1 >= cmd.GetArgumentCount(nullptr)) {
    error = "Not enough parameters for commandline switch -Option";
  } else {
    const String name = cmd.GetArgument(nullptr, index + 1, k_Empty);
    const String value = cmd.GetArgument(nullptr, index + 2, k_Empty);
    index += 2;
    if (name.empty()) {
      error = "Empty option names are not allowed for commandline switch -Option";
    } else {
      OptionsMsg().m_Options[name] = value;
      LogSystem("Setting Distribution option '" + name + "' to '" + value + "'");
    }
  }
  return Accepted(error);
}

SetMasterOptionsMsg& SetwrightApp::OptionsMsg() {
  if (!m_OptionsMsg) {
    m_OptionsMsg = MessageFactory::Create<SetMasterOptionsMsg>();
    m_OptionsMsg->m_Section = o_Distribution;
  }
  return *m_OptionsMsg;
}
