// A data folder of which backups are made, and what becomes of them.
#pragma once

#include <filesystem>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "farm/Samples.h"
#include "manage/Alone.h"
#include "manage/Backup.h"
#include "manage/Certificates.h"
#include "manage/Check.h"
#include "manage/Initialise.h"
#include "manage/Printing.h"
#include "manage/Restore.h"
#include "serve/Users.h"
#include "store/DataFolder.h"
#include "store/DurableFiles.h"
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"

namespace brenic::master {

class BackedUpFolder : public testing::Test {
protected:
  BackedUpFolder() { Initialise({Data(), "Farm", {"old.example"}, 0}); }

  Path Data() const { return m_Folder / "data"; }
  Path File(const std::string& name = "backup") const { return m_Folder / name; }
  Path Other() const { return m_Folder / "other"; }

  void Set(const String& name, const String& value) {
    SqliteStore store(Data(), Database::Mode::k_ReadWrite);
    store.Begin();
    store.Apply(ChangeOf(store.LoadFarm(), *OptionMessage(name, value)));
    store.Commit();
    store.Finish();
  }
  static Restored Restore(const RestoreOptions& options) { return master::Restore(options, AskAlone); }
  static Restored AcceptRestored(const Path& folder, const Path& revoked) {
    return master::AcceptRestored(folder, revoked, AskAlone);
  }
  /// Class, sender, request and outcome of the last record, as JSON.
  static std::string LastRecord(const Path& folder) {
    std::string last;
    SqliteStore(folder, Database::Mode::k_ReadOnly).ReadAudit(0, [&](const AuditRecord& record) {
      last = AuditJson(record);
    });
    return last;
  }
  static MasterRecord Master(const Path& folder) {
    return SqliteStore(folder, Database::Mode::k_ReadWrite).LoadMaster();
  }
  void SetIn(const Path& file, const std::string& sql) {
    Database(file, Database::Mode::k_ReadWrite).Execute(sql.c_str());
  }

  template <typename Function>
  static std::string WhyNot(Function function) {
    try {
      function();
    } catch (Exception* error) {
      const std::string why = error->Message().str();
      delete error;
      return why;
    } catch (const StoreFailure& failure) {
      return failure.what();
    }
    return "";
  }
  std::string WhyNoBackup(const Path& file) {
    return WhyNot([&] { Backup({Data(), file}); });
  }
  std::string WhyNotRestored(const Path& file, const Path& folder) {
    return WhyNot([&] { Restore({folder, file, {}, {}, true, {}}); });
  }
  static std::string WhyNotServed(const Path& folder) {
    return WhyNot([&] { RequireAccepted(folder); });
  }
  static mode_t ModeOf(const Path& file) {
    struct stat info {};
    return stat(file.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
  }
  /// The middle of a private key, as it stands in a database.
  static std::string PartOf(const std::string& pem) { return pem.substr(pem.size() / 3, 40); }

  const TempFolder m_Folder;
};

} // namespace brenic::master
