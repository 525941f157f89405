#include "manage/Check.h"

#include <filesystem>
#include <set>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/core.h>

#include "manage/CertificateCheck.h"
#include "manage/CertificateTrailCheck.h"
#include "manage/Json.h"
#include "manage/Restore.h"
#include "manage/Words.h"
#include "store/DataFolder.h"
#include "store/DatabaseCheck.h"
#include "store/DatabaseCopy.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

/// False when the database has not this layout, of which alone all can be checked.
bool CheckAll(Database& database, bool isBackup, Findings& findings) {
  database.Execute("PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
  if (!findings.Guard("The database", [&] { database.Execute("BEGIN"); }))
    return false;
  const bool isOfThisLayout = CheckDatabase(database, findings);
  if (isOfThisLayout) {
    const std::optional<Farm> farm = CheckSettings(database, findings);
    CheckTrail(database, farm ? &*farm : nullptr, findings);
    CheckCertificates(database, isBackup, findings);
    CheckCertificateTrail(database, findings);
  }
  findings.Guard("The database", [&] {
    if (!IsAccepted(database))
      findings.Note("It was restored and waits for 'brenic-master restore --accept'");
  });
  return isOfThisLayout;
}

/// There must be a Master that can be looked at.
void RequireMaster(const Path& folder) {
  namespace fs = std::filesystem;
  const auto refuse = [&](const char* before, const std::string& after) {
    throw new Exception(fmt::format("{} '{}' {}", before, folder.str().str(), after));
  };
  const fs::path path(folder.str().str());
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found)
    refuse("There is no folder", "to check; is the path right, and its disk mounted?");
  if (!error && status.type() != fs::file_type::directory)
    refuse("There is no folder", "to check, but a file of that name; check a backup without --data-dir");
  const Path file = SqliteStore::File(folder);
  if (!IsInitialised(folder)) {
    const fs::directory_iterator entries(path, error);
    if (error)
      refuse("The folder", "cannot be read; run this as the Master's user or as root: " + error.message());
    refuse("The folder", entries == fs::directory_iterator()
                             ? "is empty: there is nothing to check; is its disk mounted?"
                             : "holds no Master: there is no master.db in it");
  }
  if (faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) != 0)
    rlib::ThrowError("Cannot read '" + file.str() + "'; run this as the Master's user or as root", errno);
}

/// What is revoked, but would be valid again in a backup from before that is restored with the list.
void FindUntold(Database& database, const RevokedList& list, Findings& findings) {
  std::set<std::string> told;
  for (const Revocation& revocation : list.m_Revocations)
    told.insert(revocation.m_Serial);
  Statement row(database.Handle(),
                "SELECT serial, name FROM client WHERE revoked IS NOT NULL ORDER BY serial");
  while (row.Step())
    if (!told.contains(row.Text(0)))
      findings.Problem(
          fmt::format("The certificate {} of {} is revoked, but does not stand in the file 'revoked'",
                      rlib::Excerpt(row.Text(0)).str(), Quoted(row.Text(1))),
          "the next start of the Master adds it, and so does the next 'brenic-master revoke'");
}

/// What was revoked must be known to both, or a restore would tell the two apart.
void CheckRevoked(Database& database, const Path& folder, Findings& findings) {
  const auto revoked = ReadRevoked(RevokedFile(folder));
  if (!revoked)
    findings.Problem(revoked.Reason().str(), "a restore cannot use it");
  if (!revoked)
    return;
  FindUntold(database, *revoked ? **revoked : RevokedList(), findings);
  if (!*revoked)
    return;
  Statement row(database.Handle(), "SELECT revoked FROM client WHERE serial = ?");
  if (const std::string torn = TornWords(RevokedFile(folder), **revoked); !torn.empty())
    findings.Note(torn);
  for (const Revocation& revocation : (*revoked)->m_Revocations) {
    bool isValid = false;
    for (row.Bind(revocation.m_Serial); row.Step();)
      isValid = row.IsNull(0);
    if (isValid)
      findings.Problem(fmt::format("The certificate {} of '{}' stands in the file 'revoked', but is valid",
                                   revocation.m_Serial, revocation.m_Name.str()),
                       "revoke it again, or take its line away");
  }
  findings.Checked("lines of the file 'revoked'", (*revoked)->m_Revocations.size());
}

} // namespace

Findings CheckFolder(const Path& folder) {
  RequireMaster(folder);
  Findings findings;
  const Path file = SqliteStore::File(folder);
  try {
    RequirePrivate(folder);
  } catch (Exception* error) {
    findings.Problem(error->Message().str(), "whoever has read it can pose as this Master");
    delete error;
  }
  Database database(file, Database::Mode::k_ReadOnly);
  StopWhenLogGrows(database, file);
  if (CheckAll(database, false, findings))
    findings.Guard("The clients' certificates", [&] { CheckRevoked(database, folder, findings); });
  return findings;
}

Findings CheckFile(const Path& file) {
  if (std::error_code error; std::filesystem::is_directory(file.str().str(), error))
    throw new Exception("'" + file.str() + "' is a folder; check a data folder with --data-dir " +
                        ShellWord(file));
  RequireFile(file);
  Findings findings;
  if (!findings.Guard("The backup", [&] { CheckIsBackup(file); }))
    return findings;
  Database database(file, Database::Mode::k_Alone);
  CheckAll(database, true, findings);
  return findings;
}

std::string FindingsText(const Findings& findings) {
  std::string text;
  for (const std::string& problem : findings.Problems())
    text += problem + "\n";
  for (const std::string& note : findings.Notes())
    text += "Note: " + note + "\n";
  if (findings.MoreThanKept())
    text += fmt::format("{} more are not shown\n", findings.MoreThanKept());
  std::string counts;
  for (const auto& [what, count] : findings.Counts())
    counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", count, what);
  const size_t problems = findings.Problems().size();
  text += "Looked at the pages and tables of the database" + (counts.empty() ? "" : "; " + counts) + ": ";
  text += problems == 0 ? "nothing is wrong"
                        : fmt::format("found {} problem{}", problems, problems == 1 ? "" : "s");
  return text + "\n";
}

std::string FindingsJson(const Findings& findings) {
  Json json = {
      {"problems", findings.Problems()}, {"notes", findings.Notes()}, {"more", findings.MoreThanKept()}};
  json["checked"] = Json::object();
  for (const auto& [what, count] : findings.Counts())
    AddMember(json["checked"], what, count);
  return ToLine(json);
}

} // namespace brenic::master
