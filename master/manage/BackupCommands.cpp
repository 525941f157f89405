#include <fmt/core.h>

#include "brenic/ExitStatus.h"
#include "manage/Backup.h"
#include "manage/Check.h"
#include "manage/Commands.h"
#include "manage/Restore.h"
#include "rlib/Stream.h"
#include "store/DataFolder.h"

namespace brenic::master {

namespace {

String AsOf(int64_t sequence, int64_t time) {
  if (sequence == 0)
    return "before any request";
  return fmt::format("after request {} of {}", sequence, Time(time).Iso8601().str());
}

struct RestoreArguments {
  std::string m_File, m_Name, m_Revoked;
  std::vector<std::string> m_Hosts;
  bool m_Accept = false;
};

/// What a Master cannot do for want of keys.
std::string WithoutAll(const HeldKeys& keys) {
  return keys.m_Master
             ? "it serves, but with the keys that are not there nothing is issued or renewed until they are "
               "imported"
             : "it cannot serve before the authority's key is imported";
}

void RunBackup(const BackupOptions& options) {
  const CopiedState state = Backup(options);
  Tell("Made the backup '" + options.m_File.str() + "', as the Master was " +
       AsOf(state.m_Sequence, state.m_Time));
  if (state.m_Keys.IsNone())
    return Tell("It holds no private keys: once restored, it needs the authority's (brenic-master authority "
                "--import)");
  Tell(
      fmt::format("It holds private keys ({}), with which anybody can {}: keep it where only you can read it",
                  KeysText(state.m_Keys),
                  state.m_Keys.m_Authorities.empty() ? "pose as this Master"
                                                     : "pose as this Master and issue credentials"));
  if (!state.m_Keys.IsAll())
    Tell(String("Once restored, ") + WithoutAll(state.m_Keys) + " (brenic-master authority --import)");
}

void TellCertificates(const Restored& restored) {
  for (const ValidCertificate& valid : restored.m_Valid)
    Tell(fmt::format("  {}, {}, serial number {}{}", valid.m_Name.str(), valid.m_Role, valid.m_Serial,
                     valid.m_Expires ? ", until " + Time(valid.m_Expires).Iso8601().str() : ""));
}

void TellRestored(const Restored& restored, const Path& folder) {
  const std::string word = ShellWord(folder).str();
  if (!restored.m_Keys.IsAll())
    Tell(fmt::format("It holds {}; {}; run: brenic-master authority --import FILE --data-dir {}",
                     restored.m_Keys.IsNone() ? "no private keys"
                                              : "private keys (" + KeysText(restored.m_Keys) + ")",
                     WithoutAll(restored.m_Keys), word));
  if (restored.m_IsAccepted)
    return;
  Tell("It does not serve yet. These certificates are valid in it, whatever was revoked since the backup:");
  TellCertificates(restored);
  Tell("If the file 'revoked' of the lost data folder is there, run: brenic-master restore --revoked FILE "
       "--data-dir " +
       word);
  Tell(AdviceWithoutList(word, restored.m_IsOfThisLayout));
}

/// What became of the lost folder's list.
void TellRevoked(const Restored& restored) {
  const RevokedCounts& counts = restored.m_Revoked;
  const size_t read = counts.m_Newly + counts.m_Already + counts.m_Unknown;
  if (read != 0)
    Tell(fmt::format("Read {} revocation{}: {} newly revoked, {} already revoked in the backup, {} of "
                     "certificates that the backup does not hold",
                     read, read == 1 ? "" : "s", counts.m_Newly, counts.m_Already, counts.m_Unknown));
  if (!restored.m_Torn.empty())
    Tell(restored.m_Torn);
}

void RunRestore(const Path& folder, const RestoreArguments& arguments, const Ask& ask) {
  if (arguments.m_File.empty()) {
    if (!arguments.m_Name.empty() || !arguments.m_Hosts.empty() ||
        (!arguments.m_Accept && arguments.m_Revoked.empty()))
      throw new Exception("restore wants the FILE that 'brenic-master backup' made; without it, --accept or "
                          "--revoked accepts what was restored before");
    const Restored restored = AcceptRestored(folder, arguments.m_Revoked, ask);
    Tell("Accepted the restored Master in '" + folder.str() + "'");
    TellRevoked(restored);
    TellRestored(restored, folder);
    return;
  }
  const Restored restored = Restore({folder, arguments.m_File, arguments.m_Name, arguments.m_Hosts,
                                     arguments.m_Accept, arguments.m_Revoked},
                                    ask);
  Tell("Restored the Master '" + restored.m_Name + "' in '" + folder.str() + "', as it was " +
       AsOf(restored.m_Sequence, restored.m_Time));
  if (restored.m_BroughtFrom != 0)
    Tell(fmt::format(
        "The backup has layout {} and stays as it is; the restored Master has the present one, which "
        "an earlier brenic-master does not take",
        restored.m_BroughtFrom));
  TellRevoked(restored);
  TellRestored(restored, folder);
}

void AddRestoreCommand(CommandLine& line, const Ask& ask) {
  const auto arguments = std::make_shared<RestoreArguments>();
  CLI::App& restore =
      line.AddOnFolder("restore", "Makes a Master of a backup",
                       [arguments, ask](const Path& folder) { RunRestore(folder, *arguments, ask); });
  restore.add_option("FILE", arguments->m_File, "what backup made");
  restore.add_option("--name", arguments->m_Name, "the Master's name from now on");
  restore
      .add_option("--host", arguments->m_Hosts,
                  "name or address by which clients reach it from now on, in place of the earlier ones")
      ->allow_extra_args(false);
  restore.add_flag("--accept", arguments->m_Accept, "what is valid in the backup may be valid again");
  restore.add_option("--revoked", arguments->m_Revoked,
                     "the lost data folder's file of that name: what it holds stays revoked");
}

int RunCheck(const std::string& folder, const std::string& file, bool asJson) {
  if (folder.empty() == file.empty())
    throw new Exception("check wants either --data-dir DIR or the FILE that 'brenic-master backup' made");
  const Findings findings = file.empty() ? CheckFolder(folder) : CheckFile(file);
  rlib::stdOut.Put(String(asJson ? FindingsJson(findings) + "\n" : FindingsText(findings)));
  rlib::stdOut.Close();
  return findings.Problems().empty() ? k_ExitDone : k_ExitFailed;
}

void AddCheckCommand(CommandLine& line) {
  struct Arguments {
    std::string m_Folder, m_File;
    bool m_Json = false;
  };
  const auto arguments = std::make_shared<Arguments>();
  CLI::App& check =
      line.Add("check", "Looks for what is wrong with a Master's data, or with a backup",
               [arguments] { return RunCheck(arguments->m_Folder, arguments->m_File, arguments->m_Json); });
  check.add_option("FILE", arguments->m_File, "what backup made");
  check.add_option("--data-dir", arguments->m_Folder, "folder that holds everything of the Master");
  check.add_flag("--json", arguments->m_Json, "as one JSON object");
}

} // namespace

void AddBackupCommands(CommandLine& line, const Ask& ask) {
  const auto file = std::make_shared<std::string>();
  const auto withoutKeys = std::make_shared<bool>(false);
  CLI::App& backup = line.AddOnFolder("backup", "Writes everything into one file", [=](const Path& folder) {
    RunBackup({folder, *file, !*withoutKeys});
  });
  backup.add_option("FILE", *file, "gets the backup; must not exist")->required();
  backup.add_flag("--without-keys", *withoutKeys, "leave private keys out");

  AddRestoreCommand(line, ask);
  AddCheckCommand(line);
}

} // namespace brenic::master
