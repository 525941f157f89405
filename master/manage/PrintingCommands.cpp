#include "manage/Commands.h"
#include "manage/Printing.h"
#include "rlib/Stream.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

struct PrintOptions {
  bool m_Json = false, m_Ini = false;
  std::string m_Since;
};

void Print(const std::string& text) {
  rlib::stdOut.Put(String(text));
  rlib::stdOut.Close();
}

void PrintState(const Path& folder, const PrintOptions& options) {
  SqliteStore store = OpenToRead(folder);
  // One transaction, so that all parts are of the same moment.
  store.Connection().Execute("BEGIN");
  const MasterRecord master = store.LoadMaster();
  const Farm farm = store.LoadFarm();
  if (options.m_Json)
    Print(StateJson(master, farm) + "\n");
  else
    Print(options.m_Ini ? StateIni(farm) : StateText(master, farm));
}

void PrintAudit(const Path& folder, const PrintOptions& options) {
  const int64_t since = options.m_Since.empty() ? 0 : SinceOption(options.m_Since);
  SqliteStore store = OpenToRead(folder);
  store.ReadAudit(since, [&](const AuditRecord& record) {
    rlib::stdOut.PutLine(options.m_Json ? AuditJson(record) : AuditText(record));
  });
}

} // namespace

SqliteStore OpenToRead(const Path& folder) {
  RequireInitialised(folder);
  return SqliteStore(folder, Database::Mode::k_ReadOnly);
}

void AddPrintingCommands(CommandLine& line) {
  const auto options = std::make_shared<PrintOptions>();
  CLI::App& state = line.AddOnFolder("state", "Prints what the Master holds",
                                     [options](const Path& folder) { PrintState(folder, *options); });
  CLI::Option* json = state.add_flag("--json", options->m_Json, "as one JSON object");
  state.add_flag("--ini", options->m_Ini, "options, limits and restrictions as an INI file")->excludes(json);

  CLI::App& audit = line.AddOnFolder("audit", "Prints the audit trail",
                                     [options](const Path& folder) { PrintAudit(folder, *options); });
  audit.add_flag("--json", options->m_Json, "one JSON object a line");
  audit.add_option("--since", options->m_Since, "only what is not older, as 2026-01-31T12:00:00Z");
}

} // namespace brenic::master
