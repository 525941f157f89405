#include "manage/Commands.h"

#include "manage/ClientCredentials.h"
#include "manage/Initialise.h"
#include "manage/Printing.h"
#include "rlib/Escape.h"
#include "rlib/Stream.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

void Print(const std::string& text) {
  rlib::stdOut.Put(String(text));
  rlib::stdOut.Close();
}

/// What was done, as one line: it quotes arguments.
void Tell(const String& line) {
  rlib::stdOut.PutLine(rlib::EscapeControls(line));
}

SqliteStore OpenToRead(const Path& folder) {
  RequireInitialised(folder);
  return SqliteStore(folder, Database::Mode::k_ReadOnly);
}

} // namespace

void Init(const Arguments& arguments) {
  Initialise({arguments.m_Folder, arguments.m_Name, arguments.m_Hosts, arguments.m_Port});
  Tell("Made a Master in '" + arguments.m_Folder + "'; the first administrator's credentials are in '" +
       arguments.m_Folder + "/clients/admin'");
}

void IssueClientCredentials(const Arguments& arguments) {
  RequireInitialised(arguments.m_Folder);
  const Role role =
      arguments.m_Role == RoleName(Role::k_Administrator) ? Role::k_Administrator : Role::k_Component;
  IssueCredentials({arguments.m_Folder, arguments.m_Name, role, arguments.m_Out, arguments.m_ValidDays,
                    arguments.m_Hosts.empty() ? String() : String(arguments.m_Hosts.front())});
  Tell("Issued credentials for '" + arguments.m_Name + "' in '" + arguments.m_Out + "'");
}

void PrintState(const Arguments& arguments) {
  SqliteStore store = OpenToRead(arguments.m_Folder);
  // One transaction, so that all parts are of the same moment.
  store.Connection().Execute("BEGIN");
  const MasterRecord master = store.LoadMaster();
  const Farm farm = store.LoadFarm();
  if (arguments.m_Json)
    Print(StateJson(master, farm) + "\n");
  else
    Print(arguments.m_Ini ? StateIni(farm) : StateText(master, farm));
}

void PrintAudit(const Arguments& arguments) {
  int64_t since = 0;
  if (!arguments.m_Since.empty()) {
    const auto parsed = ParseTime(arguments.m_Since);
    if (!parsed)
      throw new Exception("--since wants a time like 2026-01-31T12:00:00Z, not '" +
                          String(arguments.m_Since) + "'");
    since = *parsed;
  }
  SqliteStore store = OpenToRead(arguments.m_Folder);
  store.ReadAudit(since, [&](const AuditRecord& record) {
    rlib::stdOut.PutLine(arguments.m_Json ? AuditJson(record) : AuditText(record));
  });
}

} // namespace brenic::master
