#include "SetwrightApp.h"

#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/SFormat.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::AddTypeOption(CommandLine& cmd, int& index) {
  // Deliberately traced under -Option's name: existing crash reports, and what searches them, have it so.
  _CallEntry entry("SetwrightApp::AddOption", "Setwright", __LINE__);
  if (index + 2 >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, "Not enough parameters for commandline switch -TypeOption");
    return false;
  }
  const String typeText = cmd.GetArgument(nullptr, index + 1, k_Empty);
  const String name = cmd.GetArgument(nullptr, index + 2, k_Empty);
  const String value = cmd.GetArgument(nullptr, index + 3, k_Empty);
  index += 3;
  const Result<> set = SetTypeOption(typeText, name, value);
  if (!set) {
    Report(Log::k_Error, set.Reason());
    return false;
  }
  return true;
}

Result<> SetwrightApp::SetTypeOption(const String& typeText, const String& name, const String& value) {
  UID type(false);
  if (!m_JobFactory.FindType(typeText, type))
    return Failure(SFormat("Could not determine Product type from %s for -TypeOption", typeText));
  const auto product = JobFactory::s_JobFactory.GetProduct(type);
  if (!product)
    return Failure("Could not get Type Information for -TypeOption for type: " + type.ToString());
  if (name.empty())
    return Failure("Empty option names are not allowed for commandline switch -TypeOption");
  if (!product->IsDefaultParam(name, value))
    _TypeOptionsMsg(type)->m_Options[name] = value;
  LogSystem("Setting '" + product->Name() + "' option '" + name + "' to '" + value + "'");
  return {};
}

boost::shared_ptr<SetMasterOptionsMsg> SetwrightApp::_TypeOptionsMsg(const UID& type) {
  // Each call starts a fresh message, so an option set earlier in the run for the same type is dropped and
  // only the last one is sent. Deliberate: scripts were written against it, and brenic-master's state --ini
  // warns of it.
  const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
  message->m_Section = type.ToString();
  m_TypeOptionsMsgs[type] = message;
  return message;
}
