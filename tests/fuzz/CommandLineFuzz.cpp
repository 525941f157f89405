#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "SetwrightApp.h"
#include "scripted/Recorder.h"

using namespace brenic;
using rlib::String;

namespace {

void Check(bool holds) {
  if (!holds)
    std::abort();
}

/// What the line is, argument by argument.
void CheckArguments(const CommandLine& cmd, const std::vector<std::string>& arguments) {
  const int count = static_cast<int>(arguments.size());
  Check(cmd.GetArgumentCount(nullptr) == count);
  for (int i = 0; i < count; ++i) {
    const std::string& argument = arguments[static_cast<size_t>(i)];
    Check(cmd.GetArgument(nullptr, i, "fallback") == argument);
    if (!argument.starts_with("-"))
      continue;
    const char* name = argument.c_str() + 1;
    Check(cmd.HasSwitch(name));
    const int behind = cmd.GetArgumentCount(name);
    Check(behind < count - i); // the last occurrence is not before this one
    for (int value = 0; value < behind; ++value)
      Check(cmd.GetArgument(name, value, "") == cmd.GetArgument(nullptr, count - behind + value, ""));
    Check(cmd.GetArgument(name, behind, "fallback") == "fallback");
  }
  Check(cmd.GetArgument(nullptr, count, "fallback") == "fallback");
  Check(cmd.GetArgument(nullptr, -1, 5) == 5 && cmd.GetArgument(nullptr, count, 5) == 5);
}

} // namespace

/// The private part of an application object that a command line changes.
struct SetwrightAppAccess {
  static bool Parse(SetwrightApp& app, CommandLine& cmd) {
    const bool valid = app.ParseCommandLine(cmd);
    const bool isRecorded = app.m_OptionsMsg || !app.m_TypeOptionsMsgs.empty() || app.m_LimitsMsg ||
                            app.m_RestrictionsMsg || app.m_UserLimitsMsg || !app.m_AddTranslations.empty() ||
                            !app.m_RemoveRoots.empty() || app.m_LogDumpMsg || !app.m_ProductMsgs.empty() ||
                            app.m_ShowInfo || app.m_SuperExit || app.m_Reboot || app.m_Shutdown ||
                            app.m_ShowPathTranslations;
    Check(valid || !isRecorded);
    for (const TranslationSet& set : app.m_AddTranslations)
      Check(set.size() == 3 && set.contains(0) && set.contains(1) && set.contains(2));
    if (app.m_UserLimitsMsg) {
      Check(app.m_UserLimitsMsg->m_OptionNames.size() == 1);
      // -2, the removal of all limits, cannot be asked for.
      Check(app.m_UserLimitValue == -3 ? app.m_UserLimitName.empty()
                                       : app.m_UserLimitValue >= -1 && !app.m_UserLimitName.empty());
    } else {
      Check(app.m_UserLimitValue == 0 && app.m_UserLimitName.empty());
    }
    return valid;
  }
  static void Queue(SetwrightApp& app) { app.QueueMessages(); }
};

// Each line of the input is an argument.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> arguments;
  std::string argument;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == '\n') {
      arguments.push_back(argument);
      argument.clear();
    } else if (data[i] != 0) {
      argument += static_cast<char>(data[i]);
    }
  }
  if (!argument.empty())
    arguments.push_back(argument);

  std::vector<const char*> pointers{"setwright"};
  for (const std::string& text : arguments)
    pointers.push_back(text.c_str());
  const scripted::Recorder recorder;
  CommandLine cmd(static_cast<int>(pointers.size()), pointers.data());
  CheckArguments(cmd, arguments);

  SetwrightApp app;
  const bool valid = SetwrightAppAccess::Parse(app, cmd);
  Check(scripted::TheScript().m_Sent.empty());
  SetwrightAppAccess::Queue(app);
  Check(valid || scripted::TheScript().m_Sent.empty());
  return 0;
}
