#include "SetwrightApp.h"

#include <algorithm>
#include <array>

#include "SwitchTable.h"
#include "rlib/CallEntry.h"

using namespace brenic;
using namespace rlib;

namespace {

constexpr Consumption Always(int count) {
  return {count, count};
}

constexpr Consumption Between(int fewest, int most) {
  return {fewest, most};
}

} // namespace

/// A handler's result tells whether it recorded a request; one is enough for a valid command line.
struct SwitchTable::Handlers {
  using Handler = bool (*)(SetwrightApp& app, CommandLine& cmd, int& index);

  struct Entry {
    const char* m_Name;
    int m_Least;
    Consumption m_Consumed;
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

  // The switch, how many arguments it needs, how many it consumes, and its handler.
  static constexpr Entry k_Entries[] = {
      {"-Option", 1, Always(2), Values<&SetwrightApp::AddOption>},
      {"-TypeOption", 2, Always(3), Values<&SetwrightApp::AddTypeOption>},
      {"-Limit", 1, Always(2), Values<&SetwrightApp::AddLimit>},
      {"-AddRestriction", 1, Always(1), Restriction<true>},
      {"-RemoveRestriction", 1, Always(1), Restriction<false>},
      {"-SetUserLimit", 1, Always(2), Values<&SetwrightApp::SetUserLimit>},
      {"-RemoveUserLimit", 0, Always(1), Values<&SetwrightApp::RemoveUserLimit>},
      {"-GetUserLimits", 0, Always(0), Query<&SetwrightApp::GetUserLimit>},
      {"-CopyFile", 0, Always(0), Values<&SetwrightApp::AddFile>}, // reads one
      {"-ExportProduct", 2, Between(0, 2), Values<&SetwrightApp::PrepareExport>},
      {"-ImportProduct", 0, Between(0, 1), Values<&SetwrightApp::PrepareImport>},
      {"-RemoveProduct", 1, Between(0, 1), Values<&SetwrightApp::PrepareRemove>},
      {"-Info", 0, Always(0), Set<&SetwrightApp::m_ShowInfo>},
      {"-DumpLogs", 0, Always(0), Flag<&SetwrightApp::DumpLogs>},
      {"-SuperExit", 0, Always(0), Flag<&SetwrightApp::SuperExit>},
      {"-GetPathTranslations", 0, Always(0), Set<&SetwrightApp::m_ShowPathTranslations>},
      {"-PathTranslation", 2, Always(3), Values<&SetwrightApp::AddPathTranslation>},
      {"-RemovePathTranslation", 0, Always(1), Values<&SetwrightApp::RemovePathTranslation>},
      {"-Reboot", 0, Always(0), Flag<&SetwrightApp::Reboot>},
      {"-Shutdown", 0, Always(0), Flag<&SetwrightApp::Shutdown>},
  };
};

std::span<const SwitchRow> SwitchTable::Rows() {
  static constexpr auto k_Rows = [] {
    std::array<SwitchRow, std::size(Handlers::k_Entries)> rows{};
    std::transform(std::begin(Handlers::k_Entries), std::end(Handlers::k_Entries), rows.begin(),
                   [](const Handlers::Entry& entry) {
                     return SwitchRow{entry.m_Name, entry.m_Least, entry.m_Consumed};
                   });
    return rows;
  }();
  return k_Rows;
}

bool SwitchTable::Handle(SetwrightApp& app, CommandLine& cmd, int& index) {
  const String argument = cmd.GetArgument(nullptr, index, k_Empty);
  for (const auto& entry : Handlers::k_Entries) {
    if (argument.CompareNoCase(entry.m_Name) == 0)
      return entry.m_Handler(app, cmd, index);
  }
  return false;
}

bool SetwrightApp::ParseCommandLine(CommandLine& cmd) {
  _CallEntry entry("SetwrightApp::ParseCommandLine", "Setwright", __LINE__);
  bool valid = false;
  for (int index = 0; index < cmd.GetArgumentCount(nullptr); ++index)
    valid = SwitchTable::Handle(*this, cmd, index) || valid;
  return valid;
}
