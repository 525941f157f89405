#include "SetwrightApp.h"

#include "rlib/CallEntry.h"

using namespace brenic;
using namespace rlib;

/// The switches, in the order in which an argument is compared with them. A handler's result tells whether it
/// recorded a request; one is enough for a valid command line.
struct SwitchTable {
  using Handler = bool (*)(SetwrightApp& app, CommandLine& cmd, int& index);

  struct Row {
    const char* m_Switch;
    Handler m_Handler;
  };

  template <auto k_Method>
  static bool Values(SetwrightApp& app, CommandLine& cmd, int& index) {
    return (app.*k_Method)(cmd, index);
  }
  template <bool k_Add>
  static bool Restriction(SetwrightApp& app, CommandLine& cmd, int& index) {
    return app.AddRestriction(cmd, index, k_Add);
  }
  template <auto k_Method>
  static bool Query(SetwrightApp& app, CommandLine& cmd, int&) {
    return (app.*k_Method)(cmd);
  }
  template <auto k_Method>
  static bool Flag(SetwrightApp& app, CommandLine&, int&) {
    return (app.*k_Method)();
  }
  template <auto k_Member>
  static bool Set(SetwrightApp& app, CommandLine&, int&) {
    return app.*k_Member = true;
  }

  static constexpr Row k_Rows[] = {
      {"-Option", Values<&SetwrightApp::AddOption>},
      {"-TypeOption", Values<&SetwrightApp::AddTypeOption>},
      {"-Limit", Values<&SetwrightApp::AddLimit>},
      {"-AddRestriction", Restriction<true>},
      {"-RemoveRestriction", Restriction<false>},
      {"-SetUserLimit", Values<&SetwrightApp::SetUserLimit>},
      {"-RemoveUserLimit", Values<&SetwrightApp::RemoveUserLimit>},
      {"-GetUserLimits", Query<&SetwrightApp::GetUserLimit>},
      {"-CopyFile", Values<&SetwrightApp::AddFile>},
      {"-ExportProduct", Values<&SetwrightApp::PrepareExport>},
      {"-ImportProduct", Values<&SetwrightApp::PrepareImport>},
      {"-RemoveProduct", Values<&SetwrightApp::PrepareRemove>},
      {"-Info", Set<&SetwrightApp::m_ShowInfo>},
      {"-DumpLogs", Flag<&SetwrightApp::DumpLogs>},
      {"-SuperExit", Flag<&SetwrightApp::SuperExit>},
      {"-GetPathTranslations", Set<&SetwrightApp::m_ShowPathTranslations>},
      {"-PathTranslation", Values<&SetwrightApp::AddPathTranslation>},
      {"-RemovePathTranslation", Values<&SetwrightApp::RemovePathTranslation>},
      {"-Reboot", Flag<&SetwrightApp::Reboot>},
      {"-Shutdown", Flag<&SetwrightApp::Shutdown>},
  };
};

bool SetwrightApp::ParseCommandLine(CommandLine& cmd) {
  _CallEntry entry("SetwrightApp::ParseCommandLine", "Setwright", __LINE__);
  bool valid = false;
  for (int index = 0; index < cmd.GetArgumentCount(nullptr); ++index) {
    const String argument = cmd.GetArgument(nullptr, index, k_Empty);
    for (const auto& row : SwitchTable::k_Rows) {
      if (argument.CompareNoCase(row.m_Switch) == 0) {
        valid = row.m_Handler(*this, cmd, index) || valid;
        break;
      }
    }
  }
  return valid;
}
