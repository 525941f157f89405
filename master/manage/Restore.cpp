#include "manage/Restore.h"

#include <fstream>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "manage/Addresses.h"
#include "manage/ClientCredentials.h"
#include "manage/CredentialsFolder.h"
#include "manage/NewDataFolder.h"
#include "store/DatabaseCopy.h"
#include "store/DurableFiles.h"
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

std::string Named(const Path& file) {
  return "'" + file.str().str() + "'";
}

/// What stands beside a database holds a part of it, which would be lost.
void CheckStandsAlone(const Path& file) {
  for (const char* suffix : {"-wal", "-journal"}) {
    const Path beside = Path(file.str() + suffix);
    struct stat info {};
    if (stat(beside.c_str(), &info) == 0 && info.st_size > 0)
      throw new Exception(fmt::format(
          "{} stands beside {}: that is a copy of files in use and no backup. Make one with 'brenic-master "
          "backup', or copy the database after a clean stop",
          Named(beside), Named(file)));
  }
}

void CheckIsDatabase(const Path& file) {
  constexpr std::string_view k_Magic("SQLite format 3\0", 16);
  std::ifstream in(file.str().str(), std::ios::binary);
  std::string begin(k_Magic.size(), '\0');
  if (!in.read(begin.data(), static_cast<std::streamsize>(begin.size())) || begin != k_Magic)
    throw new Exception(Named(file) + " is no backup of a Master");
}

/// Reads all of it: what is damaged is not to be restored.
void CheckBackup(const Path& file) {
  RequireFile(file);
  CheckIsBackup(file);
  const auto damaged = [&](const std::string& how) {
    return new Exception(fmt::format("{} is damaged and was not restored; take another backup: {}",
                                     Named(file), how.substr(0, how.find('\n'))));
  };
  try {
    Database database(file, Database::Mode::k_Alone);
    const int layout = std::stoi(database.Scalar("PRAGMA user_version"));
    if (layout > k_Layout)
      throw new Exception(
          fmt::format("{} has layout {}, made by a newer brenic-master, which has to restore it; "
                      "this one knows layouts up to {}",
                      Named(file), layout, k_Layout));
    if (layout < 1)
      throw new Exception(Named(file) + " is no backup of a Master");
    if (const std::string found = database.Scalar("PRAGMA integrity_check"); found != "ok")
      throw damaged(found);
    if (database.Scalar("SELECT count(*) FROM master") != "1")
      throw damaged("it holds no Master");
  } catch (const StoreFailure& failure) {
    throw damaged(failure.what());
  }
}

RevokedList RevokedIn(const Path& file) {
  const auto revoked = ReadRevoked(file);
  if (!revoked)
    throw new Exception(revoked.Reason());
  if (!*revoked)
    throw new Exception("There is no file " + Named(file) +
                        ". A Master that never revoked anything has none: where that is so, say --accept in "
                        "place of --revoked");
  if (const std::string torn = TornWords(file, **revoked); (*revoked)->m_Revocations.empty())
    throw new Exception(fmt::format("The file {} holds no revocation{}; if it is whole, and nothing was "
                                    "revoked, say --accept in place of "
                                    "--revoked",
                                    Named(file), torn.empty() ? "" : ". " + torn));
  return **revoked;
}

/// What the request about the database in `folder` is to revoke, and how many the list has of each kind.
RevokedCounts AddRevoked(const Path& folder, const RevokedList& list, RestoreMsg& request) {
  SqliteStore store(folder, Database::Mode::k_ReadOnly);
  RevokedCounts counts;
  std::set<std::string> taken;
  for (const Revocation& revocation : list.m_Revocations) {
    const auto client = store.FindClient(revocation.m_Serial);
    if (!client)
      ++counts.m_Unknown;
    else if (client->m_Revoked || !taken.insert(revocation.m_Serial).second)
      ++counts.m_Already;
    else
      request.m_Revoked.push_back(RevocationLine(revocation));
  }
  counts.m_Newly = taken.size();
  return counts;
}

/// For the next restore: the list that was given, and what the database in `source` knows.
void KeepRevoked(const Path& folder, const RevokedList& list, const Path& source) {
  SqliteStore store(source, Database::Mode::k_ReadOnly);
  CompleteRevoked(RevokedFile(folder), list.m_Revocations, store);
}

bool MakesDifferent(const RestoreMsg& request) {
  return !request.m_Name.empty() || !request.m_Hosts.empty() || request.m_Accept;
}

int LayoutOf(Database& database) {
  return std::stoi(database.Scalar("PRAGMA user_version"));
}

Restored Describe(const Path& folder) {
  Database database(SqliteStore::File(folder), Database::Mode::k_Alone);
  const CopiedState state = ReadCopiedState(database);
  return {database.Scalar("SELECT name FROM master"),
          state.m_Sequence,
          state.m_Time,
          state.m_Keys,
          IsAccepted(database),
          ValidCertificates(database),
          {},
          {},
          0,
          LayoutOf(database) == k_Layout};
}

/// It does not serve until it is accepted, whatever its layout is, which is returned.
int MarkAsRestored(const Path& folder) {
  Database database(SqliteStore::File(folder), Database::Mode::k_ReadWrite);
  SetDurability(database);
  WaitForAcceptance(database);
  return std::stoi(database.Scalar("PRAGMA user_version"));
}

void CheckOptions(const RestoreOptions& options) {
  if (const auto problem = NameProblem("Master", options.m_Name); problem && !options.m_Name.empty())
    throw new Exception(*problem);
  for (const std::string& host : options.m_Hosts)
    if (const auto problem = HostProblem(host))
      throw new Exception(*problem);
}

/// What decides whether a folder may be served.
struct Acceptance {
  bool m_IsAccepted = false;
  bool m_HasKey = false; // the Master's own
  bool m_IsOfThisLayout = false;
};

Acceptance AcceptanceOf(const Path& folder) {
  try {
    Database database(SqliteStore::File(folder), Database::Mode::k_ReadOnly);
    return {IsAccepted(database), database.Scalar("SELECT length(server_key) FROM master") != "0",
            LayoutOf(database) == k_Layout};
  } catch (const StoreFailure& failure) {
    throw StoreFailure(fmt::format("The database cannot be read; make room on its disk, or look at it with "
                                   "'brenic-master check': {}",
                                   failure.what()),
                       failure.Which());
  }
}

} // namespace

std::string AdviceWithoutList(const std::string& folder, bool isOfThisLayout) {
  const std::string look =
      fmt::format("look at 'brenic-master clients --data-dir {}', revoke what must not be "
                  "valid (brenic-master revoke)",
                  folder);
  const std::string accept = "run: brenic-master restore --accept --data-dir " + folder;
  if (isOfThisLayout)
    return fmt::format("Else {}, then {}", look, accept);
  return fmt::format(
      "Else {}, which brings its database, of an earlier layout, to the present one; then, before "
      "it is served, {}",
      accept, look);
}

void RequireFile(const Path& file) {
  struct stat info {};
  if (stat(file.c_str(), &info) != 0 && errno == ENOENT)
    throw new Exception("There is no file " + Named(file));
  if (S_ISDIR(info.st_mode))
    throw new Exception(Named(file) + " is no file, but a folder");
  if (info.st_mode != 0 && !S_ISREG(info.st_mode))
    throw new Exception(Named(file) + " is no file");
  if (faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) != 0)
    rlib::ThrowError("Cannot read " + Named(file), errno);
}

void CheckIsBackup(const Path& file) {
  CheckIsDatabase(file);
  CheckStandsAlone(file);
}

std::vector<ValidCertificate> ValidCertificates(Database& database) {
  const bool isRecorded = HasColumn(database, "client", "expires");
  Statement row(database.Handle(),
                isRecorded ? "SELECT name, role, serial, expires FROM client WHERE revoked IS NULL "
                             "ORDER BY name, serial"
                           : "SELECT name, role, serial, 0 FROM client ORDER BY name, serial");
  std::vector<ValidCertificate> valid;
  while (row.Step())
    valid.push_back({row.Text(0), row.Text(1), row.Text(2), row.Integer(3)});
  return valid;
}

Restored Restore(const RestoreOptions& options, const Ask& ask) {
  CheckOptions(options);
  RevokedList revoked;
  if (!options.m_Revoked.empty())
    revoked = RevokedIn(options.m_Revoked);
  CheckBackup(options.m_File);

  NewDataFolder folder(options.m_Folder);
  const Path staging = folder.Unfinished();
  MakeFolder(staging, 0700);
  const Path database = SqliteStore::File(staging);
  { const FileHandle empty = MakePrivateFile(database); }
  CopyOptions copy;
  copy.m_Mode = Database::Mode::k_Alone;
  const CopiedState copied = CopyDatabase(options.m_File, database, copy);
  const int layout = MarkAsRestored(staging);
  const auto request = MessageFactory::Create<RestoreMsg>();
  request->m_Name = options.m_Name;
  request->m_Hosts.assign(options.m_Hosts.begin(), options.m_Hosts.end());
  request->m_Accept = options.m_Accept || !options.m_Revoked.empty();
  RevokedCounts counts;
  if (MakesDifferent(*request)) { // recorded, for which it takes the present layout
    SqliteStore::BringToThisLayout(staging, SqliteStore::Earlier::k_Leave);
    counts = AddRevoked(staging, revoked, *request);
    ask(staging, *request);
  }
  if (MakesDifferent(*request) || layout == k_Layout) // an earlier one holds none
    KeepRevoked(options.m_Folder, revoked, staging);
  Restored restored = Describe(staging);
  restored.m_Sequence = copied.m_Sequence;
  restored.m_Time = copied.m_Time;
  restored.m_Revoked = counts;
  restored.m_Torn = TornWords(options.m_Revoked, revoked);
  restored.m_BroughtFrom = MakesDifferent(*request) && layout != k_Layout ? layout : 0;
  SyncFile(database);
  folder.Finish(database);
  return restored;
}

Restored AcceptRestored(const Path& folder, const Path& revoked, const Ask& ask) {
  RequireInitialised(folder);
  const ServeLock lock(folder);
  RevokedList list;
  if (!revoked.empty())
    list = RevokedIn(revoked);
  {
    Database database(SqliteStore::File(folder), Database::Mode::k_ReadOnly);
    if (IsAccepted(database))
      throw new Exception(Named(folder) + " does not wait to be accepted");
  }
  SqliteStore::BringToThisLayout(folder);
  const auto request = MessageFactory::Create<RestoreMsg>();
  request->m_Accept = true;
  const RevokedCounts counts = AddRevoked(folder, list, *request);
  KeepRevoked(folder, list, folder);
  ask(folder, *request);
  Restored restored = Describe(folder);
  restored.m_Revoked = counts;
  restored.m_Torn = TornWords(revoked, list);
  return restored;
}

void RequireAccepted(const Path& folder) {
  const auto [isAccepted, hasKey, isOfThisLayout] = AcceptanceOf(folder);
  const std::string word = ShellWord(folder).str();
  if (!isAccepted)
    throw new Exception(fmt::format("The Master in {0} was restored from a backup, and what was revoked "
                                    "since that was made is valid in it. "
                                    "Where the lost folder's file 'revoked' is there, run: brenic-master "
                                    "restore --revoked FILE --data-dir {1}. {2}",
                                    Named(folder), word, AdviceWithoutList(word, isOfThisLayout)));
  if (!hasKey)
    throw new Exception(
        fmt::format("The Master in {} was restored from a backup without private keys and needs "
                    "the authority's; run: brenic-master authority --import FILE --data-dir {}",
                    Named(folder), word));
}

} // namespace brenic::master
