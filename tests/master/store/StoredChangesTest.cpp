#include <gmock/gmock.h>

#include "farm/RandomRequests.h"
#include "manage/AuditFields.h"
#include "store/Defaults.h"
#include "store/Records.h"
#include "store/StoreFixture.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

class StoredChanges : public StoreFixture {
protected:
  StoredChanges() { SetDefaults(*m_Store, SampleFarm().m_Products.Defaults()); }
  std::string Stored() { return Describe(m_Store->LoadFarm()); }
  std::string Scalar(const char* sql) { return m_Store->Connection().Scalar(sql); }

  /// Applies and records what the request does.
  Change Do(const shared_ptr<Message>& message) {
    const Change change = ChangeOf(m_Store->LoadFarm(), *message);
    m_Store->Begin();
    m_Store->Apply(change);
    m_Store->Record(CommittedRecord(1000, change));
    m_Store->Commit();
    return change;
  }
  std::vector<AuditRecord> Trail() {
    std::vector<AuditRecord> records;
    m_Store->ReadAudit(0, [&](const AuditRecord& record) { records.push_back(record); });
    return records;
  }
};

TEST_F(StoredChanges, LeadToTheSameFarmAsInMemoryForwardAndBackward) {
  // The default product 8 comes when an installed one has its name already.
  const auto nine = MakeProduct(9, "Nine", {"gamma"});
  Do(InstallProduct(nine));
  ProductMap defaults = SampleFarm().m_Products.Defaults();
  defaults[Type(8)] = MakeProduct(8, "Gamma");
  SetDefaults(*m_Store, defaults);
  const Farm first = m_Store->LoadFarm();
  ASSERT_EQ(Describe(first), Describe(FarmWithHiddenProduct()));

  for (uint32_t seed = 200; seed != 206; ++seed) {
    Farm farm = first;
    std::vector<Change> done;
    m_Store->Begin();
    ForRandomChanges(seed, 60, farm, [&](const Message& message, const Change& change) {
      m_Store->Apply(change);
      Farm after = farm;
      after.Take(change);
      ASSERT_EQ(Stored(), Describe(after)) << "seed " << seed << ": " << message.ClassName();
      done.push_back(change);
    });
    m_Store->Commit();
    Open();
    ASSERT_EQ(Stored(), Describe(farm)) << "seed " << seed;
    m_Store->Begin();
    for (auto change = done.rbegin(); change != done.rend(); ++change) {
      farm.Take(Inverse(*change));
      m_Store->Apply(Inverse(*change));
      ASSERT_EQ(Stored(), Describe(farm)) << "seed " << seed;
    }
    m_Store->Commit();
    Open();
    ASSERT_EQ(Stored(), Describe(first)) << "seed " << seed;
    ASSERT_GT(done.size(), 30u);
  }
}

TEST_F(StoredChanges, AreReadFromTheTrailAsTheyWereMade) {
  Farm farm = m_Store->LoadFarm();
  std::vector<Change> done;
  m_Store->Begin();
  ForRandomChanges(300, 200, farm, [&](const Message&, const Change& change) {
    m_Store->Apply(change);
    m_Store->Record(CommittedRecord(1000, change));
    done.push_back(change);
  });
  m_Store->Commit();
  Open();
  const auto records = Trail();
  ASSERT_EQ(records.size(), done.size());
  for (size_t i = 0; i != records.size(); ++i) {
    ASSERT_EQ(records[i].LoadedChange() != nullptr, !done[i].IsEmpty()) << i;
    if (records[i].LoadedChange()) {
      ASSERT_EQ(*records[i].LoadedChange(), done[i]) << i;
    }
  }
}

TEST_F(StoredChanges, AreNotMadeFromAnotherTextOrList) {
  Do(OptionMessage(o_UserLimits, "ann=1;"));
  Do(SetTranslations({{{1, "/x"}}}));
  const std::string before = Stored();
  Change limits, translations;
  limits.m_UserLimits = UserLimitsChange{o_UserLimits, true, true, {{{0, {"bob=1"}, {}}}}};
  translations.m_Translations = {{{3, {}, {TranslationSet{}}}}};
  for (const Change& change : {limits, translations}) {
    m_Store->Begin();
    try {
      m_Store->Apply(change);
      ADD_FAILURE();
    } catch (Exception* error) {
      delete error;
    }
    m_Store->Rollback();
    EXPECT_EQ(Stored(), before);
  }
}

TEST_F(StoredChanges, StandInARecordOfWhichEveryFieldComesBack) {
  Change change;
  change.m_Options = {{UID::Null, "a", {std::nullopt, String("1")}}};
  change.m_Products = {{Type(3), {std::nullopt, Customisation{MakeProduct(3, "Gamma")}}}};
  AuditRecord record;
  record.m_Time = 1'700'000'000'123;
  record.m_ClientKey = "uid:1000";
  record.m_ClientId = "id";
  record.m_ClientName = "Ann \"夜\"";
  record.m_Role = Role::k_Administrator;
  record.m_Kind = 0xffffffff;
  record.m_Address = "[::1]:5";
  record.m_MessageId = Type(9);
  record.m_Class = "ProductMsg";
  record.m_Digest = std::string("\0\xff digest", 9);
  record.m_Size = 5'000'000'000;
  record.m_Request = std::make_shared<const std::string>("\0by\xff", 4);
  record.m_Change = std::make_shared<const Change>(change);
  record.m_Result = "refused";
  record.m_Reason = "why\xff";
  record.m_Run = "run";
  m_Store->Record(record);
  Open();
  const auto records = Trail();
  ASSERT_EQ(records.size(), 1u);
  const AuditRecord& read = records.front();
  EXPECT_EQ(read.m_Sequence, 1);
  EXPECT_EQ(read.m_Time, record.m_Time);
  EXPECT_EQ(read.m_ClientKey, record.m_ClientKey);
  EXPECT_EQ(read.m_ClientId, record.m_ClientId);
  EXPECT_EQ(read.m_ClientName, record.m_ClientName);
  EXPECT_EQ(read.m_Role, record.m_Role);
  EXPECT_EQ(read.m_Kind, record.m_Kind);
  EXPECT_EQ(read.m_Address, record.m_Address);
  EXPECT_EQ(read.m_MessageId, record.m_MessageId);
  EXPECT_EQ(read.m_Class, record.m_Class);
  EXPECT_EQ(read.m_Digest, record.m_Digest);
  EXPECT_EQ(read.m_Size, record.m_Size);
  ASSERT_TRUE(read.m_Request);
  EXPECT_EQ(*read.m_Request, *record.m_Request);
  ASSERT_TRUE(read.LoadedChange());
  EXPECT_EQ(*read.LoadedChange(), change);
  EXPECT_EQ(read.m_Result, record.m_Result);
  EXPECT_EQ(read.m_Reason, record.m_Reason);
  EXPECT_EQ(read.m_Run, record.m_Run);
  EXPECT_FALSE(read.IsOfLayout1());
}

TEST_F(StoredChanges, AndRequestsAreToldApartFromNone) {
  AuditRecord none = CommittedRecord(1000), empty = CommittedRecord(1000), old = CommittedRecord(1000);
  empty.m_Request = std::make_shared<const std::string>();
  empty.m_Change = std::make_shared<const Change>(); // which no request leads to
  old.m_FieldsOfLayout1 = "{}";
  for (const AuditRecord& record : {none, empty, old})
    m_Store->Record(record);
  const auto records = Trail();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_FALSE(records[0].m_Request || records[0].LoadedChange() || records[0].IsOfLayout1());
  ASSERT_TRUE(records[1].m_Request);
  EXPECT_EQ(*records[1].m_Request, "");
  EXPECT_THROW((void)records[1].LoadedChange(), StoreFailure);
  EXPECT_EQ(records[2].m_FieldsOfLayout1, "{}");
  EXPECT_TRUE(m_Store->FindDecision("01", old.m_MessageId)->IsOfLayout1());
  EXPECT_FALSE(m_Store->FindDecision("01", none.m_MessageId)->IsOfLayout1());
}

TEST_F(StoredChanges, KeepADocumentOnce) {
  ASSERT_EQ(Scalar("SELECT count(*) FROM document"), "2");
  const auto alpha = m_Store->LoadFarm().m_Products.Find(Type(1));
  Do(InstallProduct(alpha)); // as it is by default
  Do(RemoveProduct(Type(1)));
  Do(InstallProduct(alpha));
  EXPECT_EQ(Scalar("SELECT count(*) FROM document"), "2");
  EXPECT_EQ(Scalar("SELECT count(*) FROM change_document"), "3"); // one document in three records
  const auto other = MakeProduct(1, "Alpha two");
  Do(InstallProduct(other));
  Do(InstallProduct(alpha));
  EXPECT_EQ(Scalar("SELECT count(*) FROM document"), "3");
  EXPECT_EQ(Scalar("SELECT count(*) FROM change_document"), "7");
  EXPECT_EQ(Scalar("SELECT count(*) FROM document WHERE document LIKE '%Alpha two%'"), "1");
}

TEST_F(StoredChanges, KeepTheDocumentsThatTheyReferTo) {
  const auto alpha = m_Store->LoadFarm().m_Products.Find(Type(1));
  const auto own = MakeProduct(3, "Own");
  Do(InstallProduct(alpha));
  Do(InstallProduct(own));
  const Change removal = Do(RemoveProduct(UID::Null));
  SetDefaults(*m_Store, {{Type(1), MakeProduct(1, "Alpha", {"new"})}});
  Open();
  EXPECT_EQ(*Trail().back().LoadedChange(), removal);
  m_Store->Begin();
  m_Store->Apply(Inverse(removal));
  m_Store->Commit();
  Open();
  EXPECT_EQ(m_Store->LoadFarm().m_Products.Find(Type(1))->Document(), alpha->Document());
  EXPECT_EQ(m_Store->LoadFarm().m_Products.Find(Type(3))->Document(), own->Document());
}

TEST_F(StoredChanges, HoldDefaultProductsThatWereReadAnew) {
  const Farm farm = m_Store->LoadFarm();
  Change change;
  AddDefaults(farm, {{Type(1), MakeProduct(1, "Alpha", {"new"})}, {Type(3), MakeProduct(3, "Gamma")}},
              change);
  m_Store->Begin();
  m_Store->Apply(change);
  m_Store->Record(CommittedRecord(1000, change));
  m_Store->Commit();
  Open();
  Farm taken = farm;
  taken.Take(change);
  EXPECT_EQ(Stored(), Describe(taken));
  EXPECT_EQ(*Trail().back().LoadedChange(), change);
  EXPECT_EQ(ChangeJson(change)["defaultProducts"].size(), 3u);
  m_Store->Begin();
  m_Store->Apply(Inverse(*Trail().back().LoadedChange()));
  m_Store->Commit();
  EXPECT_EQ(Stored(), Describe(farm));
}

TEST_F(StoredChanges, WhoseDocumentIsGoneAreAStoreFailure) {
  Do(InstallProduct(MakeProduct(3, "Own")));
  m_Store->Connection().Execute("DELETE FROM document WHERE document LIKE '%Own%'");
  const auto records = Trail(); // the rest of the trail can be read all the same
  ASSERT_EQ(records.size(), 1u);
  EXPECT_THROW((void)records[0].LoadedChange(), StoreFailure);
  EXPECT_EQ(RequestFields(records[0]),
            (Json{{"digest", Hex(records[0].m_Digest)}, {"size", records[0].m_Size}}));
}

} // namespace
} // namespace brenic::master
