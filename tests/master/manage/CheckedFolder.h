// A data folder with something of every kind, and ways to damage it.
#pragma once

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "farm/RandomRequests.h"
#include "manage/AuditFields.h"
#include "manage/Check.h"
#include "manage/Initialise.h"
#include "manage/Printing.h"
#include "store/Defaults.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

inline AuditRecord RecordOf(const Message& message, const Change* change) {
  wire::Envelope envelope;
  wire::ToWire(message, envelope);
  const std::string bytes = envelope.SerializeAsString();
  AuditRecord record;
  record.m_Time = 1767225600000;
  record.m_ClientKey = "01";
  record.m_ClientName = "admin";
  record.m_Role = Role::k_Administrator;
  record.m_MessageId = message.m_ID;
  record.m_Class = message.ClassName();
  record.m_Digest = Sha256(bytes);
  record.m_Size = bytes.size();
  record.m_Request = std::make_shared<const std::string>(bytes);
  record.m_Result = "committed";
  record.m_Run = "run";
  if (change && !change->IsEmpty())
    record.m_Change = std::make_shared<const Change>(*change);
  return record;
}

/// Makes requests of every kind, and records them.
inline void Fill(SqliteStore& store) {
  Farm farm = SampleFarm();
  SetDefaults(store, farm.m_Products.Defaults());
  store.Begin();
  const auto take = [&](const Message& message, const Change& change) {
    store.Apply(change);
    store.Record(RecordOf(message, &change));
  };
  ForRandomChanges(7, 60, farm, take);
  for (const shared_ptr<Message>& message : std::vector<shared_ptr<Message>>{
           OptionMessage("Twice", "1"), OptionMessage("Twice", "2"),
           OptionMessage(o_UserLimits, "ann=1;bob=2"), InstallProduct(MakeProduct(6, "Own")),
           OptionMessage("Param", "3", Type(6).ToString()), InstallProduct(MakeProduct(7, "Another")),
           SetTranslations({{{0, "P:\\a"}, {1, "/a"}}, {{1, "/b"}, {2, "/c"}}}),
           Make<SetMasterLimitsMsg>([](auto& limits) { limits.m_Limits[Type(6)] = 4; }),
           Make<SetMasterRestrictionsMsg>([](auto& on) { on.m_Restrictions["NoMore"] = true; })}) {
    const Change change = ChangeOf(farm, *message);
    take(*message, change);
    farm.Take(change);
  }
  AuditRecord refused = RecordOf(*OptionMessage("", "1"), nullptr);
  refused.m_Result = "refused";
  refused.m_Reason = "The name of an option is empty";
  store.Record(refused);
  store.Commit();
  store.Finish();
}

class CheckedFolder : public testing::Test {
protected:
  static void SetUpTestSuite() {
    const TempFolder folder;
    const Path data = folder / "data";
    Initialise({data, "Farm", {"farm.example"}, 0});
    {
      SqliteStore store(data, Database::Mode::k_ReadWrite);
      Fill(store);
    }
    s_Whole = ReadTextFile(SqliteStore::File(data).c_str());
  }
  CheckedFolder() { Write(s_Whole); }

  Path Data() const { return m_Folder.Name(); }
  Path File() const { return SqliteStore::File(Data()); }
  void Write(const std::string& bytes) {
    for (const char* suffix : {"-wal", "-shm", "-journal"})
      unlink((File().str().str() + suffix).c_str());
    WriteTextFile(File().c_str(), bytes);
    ASSERT_EQ(chmod(File().c_str(), 0600), 0);
  }
  void Execute(const std::string& sql) {
    Database database(File(), Database::Mode::k_ReadWrite);
    database.Execute("PRAGMA ignore_check_constraints = ON; PRAGMA writable_schema = ON");
    database.Execute(sql.c_str());
  }
  /// Everything that was found; one line for what cannot be looked at.
  std::string Found() {
    try {
      const Findings findings = CheckFolder(Data());
      return findings.Problems().empty() && findings.Notes().empty() ? "" : FindingsText(findings);
    } catch (Exception* error) {
      const std::string why = error->Message().str();
      delete error;
      return why;
    } catch (const std::exception& error) {
      return error.what();
    }
  }
  /// Everything that a Master and its subcommands make of the file.
  std::string Served() {
    try {
      SqliteStore store(Data(), Database::Mode::k_ReadOnly);
      const MasterRecord master = store.LoadMaster();
      std::string all = StateJson(master, store.LoadFarm()) + Describe(store.LoadFarm()) + "\n";
      store.ReadAudit(0, [&](const AuditRecord& record) {
        all += AuditJson(record) + "\n";
        if (const auto change = record.LoadedChange())
          all += ChangeJson(*change).dump() + "\n";
        EXPECT_EQ(store.FindDecision(record.m_ClientKey, record.m_MessageId)->m_Digest, record.m_Digest);
      });
      for (const ClientRecord& client : store.Clients())
        all += client.m_Serial + client.m_Name.str() + RoleName(client.m_Role) + "\n";
      return all + master.m_Authority.m_Key + master.m_Server.m_Certificate + master.m_Server.m_Key;
    } catch (Exception* error) {
      delete error;
    } catch (const std::exception&) {
    }
    return "";
  }

  inline static std::string s_Whole;
  const TempFolder m_Folder;
};

} // namespace brenic::master
