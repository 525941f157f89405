// Reverting, and reading other default products, through the writer and its store.
#include <filesystem>

#include "farm/RandomRequests.h"
#include "farm/RecordedFarm.h"
#include "serve/DefaultProducts.h"
#include "serve/WriterFixture.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class RevertTest : public WriterTest {
protected:
  /// As the store has it.
  std::string Stored() {
    return Describe(SqliteStore(m_Folder.Name(), Database::Mode::k_ReadOnly).LoadFarm());
  }
  int64_t Newest() {
    return SqliteStore(m_Folder.Name(), Database::Mode::k_ReadOnly).SequenceRange().m_Newest;
  }
  AuditRecord Last() {
    SqliteStore store(m_Folder.Name(), Database::Mode::k_ReadOnly);
    AuditRecord last;
    store.ReadAudit(0, [&](const AuditRecord& record) { last = record; });
    last.m_Change = last.LoadedChange();
    last.m_LoadChange = {};
    return last;
  }
  /// Empty when it was committed.
  std::string Do(const shared_ptr<Message>& message) {
    const Told told = Ask(message);
    return told.m_Answer.outcome() == wire::Answer::COMMITTED ? "" : told.m_Answer.reason();
  }
  Batch LastBatch() {
    std::lock_guard lock(m_Mutex);
    return m_Batches.back();
  }
  void WaitForBatches(size_t count) {
    std::unique_lock lock(m_Mutex);
    m_Arrived.wait(lock, [&] { return m_Batches.size() >= count; });
  }
  size_t BatchCount() {
    std::lock_guard lock(m_Mutex);
    return m_Batches.size();
  }
};

TEST_F(RevertTest, IsOneAuditedChangeThatOutlivesARestart) {
  m_Writer->Start();
  ASSERT_EQ(Do(Set("a", "1")), "");
  ASSERT_EQ(Do(Set("b", "1")), "");
  ASSERT_EQ(Do(RevertOf({1, 2})), "");
  EXPECT_EQ(Do(RevertOf({1})).substr(0, 60), "Nothing was reverted: the option 'a' is not as change 1 left");
  const AuditRecord refused = Last();
  EXPECT_EQ(refused.m_Sequence, 4);
  EXPECT_EQ(refused.m_Result, "refused");
  EXPECT_FALSE(refused.m_Change);
  ASSERT_EQ(Do(RevertOf({3})), "");
  EXPECT_EQ(Last().m_Class, "RevertMsg");
  EXPECT_EQ(Last().m_Change->m_Options.size(), 2u);
  const std::string before = Stored();
  Restart("second run");
  m_Writer->Start();
  EXPECT_EQ(Ask(Get("a")).m_Reply->m_Options.at("a"), "1");
  ASSERT_EQ(Do(RevertOf({5})), "");
  EXPECT_NE(Stored(), before);
}

TEST_F(RevertTest, SeesWhatWasChangedBeforeItInTheSameRound) {
  for (const auto& message : std::vector<shared_ptr<Message>>{
           Set("a", "1"), SetTranslations({{{1, "/a"}}}), RevertOf({1, 2}), Set("a", "2"), RevertOf({4}),
           SetTranslations({{{1, "/b"}}, {{1, "/a"}}}), RevertOf({2})})
    Submit(message);
  m_Writer->Start();
  const auto results = Finish();
  EXPECT_EQ(m_Batches.size(), 1u);
  for (size_t i = 0; i != 6; ++i)
    EXPECT_EQ(Read(results[i]).m_Answer.outcome(), wire::Answer::COMMITTED) << i;
  EXPECT_EQ(Read(results[6]).m_Answer.outcome(), wire::Answer::COMMITTED);
  Restart("second run");
  EXPECT_EQ(Stored(), Describe([] {
              Farm farm = SampleFarm();
              farm.m_Translations = {{{1, "/b"}}};
              return farm;
            }()));
}

TEST_F(RevertTest, IsForAdministratorsOnlyAndAppliedOnce) {
  m_Writer->Start();
  ASSERT_EQ(Do(Set("a", "1")), "");
  EXPECT_THAT(Ask(RevertOf({1}), {}, "02", Role::k_Component).m_Answer.reason(),
              HasSubstr("only an administrator"));
  const auto revert = RevertOf({1});
  ASSERT_EQ(Do(revert), "");
  ASSERT_EQ(Do(Set("a", "1")), "");
  EXPECT_EQ(Do(revert), "") << "it was committed";
  EXPECT_EQ(Ask(Get("a")).m_Reply->m_Options.at("a"), "1");
}

TEST_F(RevertTest, TellsClientsOfProductsAndTranslations) {
  m_Writer->Start();
  ASSERT_EQ(Do(InstallProduct(MakeProduct(3, "Own"))), "");
  ASSERT_EQ(Do(InstallProduct(MakeProduct(4, "Other"))), "");
  ASSERT_EQ(Do(SetTranslations({{{1, "/a"}}})), "");
  ASSERT_EQ(Do(Set("a", "1")), "");
  ASSERT_EQ(Do(RevertOf({4})), "");
  EXPECT_FALSE(LastBatch().m_ProductsChanged || LastBatch().m_TranslationsChanged);
  ASSERT_EQ(Do(RevertOf({1, 2, 3})), "");
  EXPECT_TRUE(LastBatch().m_TranslationsChanged);
  EXPECT_TRUE(LastBatch().m_ProductsChanged);
  EXPECT_EQ(LastBatch().m_ChangedProducts, (std::set<UID>{Type(3), Type(4)}));
  EXPECT_EQ(LastBatch().m_Snapshot->m_Products->m_Products.size(), 2u);
}

TEST_F(RevertTest, GivesEveryEarlierStateBackInTheStore) {
  m_Writer->Start();
  RandomRequests random(600);
  std::vector<std::pair<int64_t, std::string>> states{{0, Stored()}};
  while (states.size() <= 60) {
    SqliteStore store(m_Folder.Name(), Database::Mode::k_ReadOnly);
    if (!Do(random.Next(store.LoadFarm())).empty())
      continue;
    if (const std::string stored = Stored(); stored != states.back().second)
      states.emplace_back(Newest(), stored);
  }
  std::vector<int64_t> group;
  for (size_t i = states.size() - 1; i != 20; --i) {
    ASSERT_EQ(Do(RevertOf({states[i].first})), "");
    ASSERT_EQ(Stored(), states[i - 1].second) << i;
  }
  for (size_t i = 1; i <= 20; ++i)
    group.push_back(states[i].first);
  ASSERT_EQ(Do(RevertOf(group)), "");
  EXPECT_EQ(Stored(), states[0].second);
}

TEST_F(RevertTest, ADamagedRecordRefusesOnlyWhatNeedsIt) {
  m_Writer->Start();
  ASSERT_EQ(Do(InstallProduct(MakeProduct(3, "Own"))), "");
  ASSERT_EQ(Do(Set("a", "1")), "");
  ASSERT_EQ(Do(SetTranslations({{{1, "/a"}}})), "");
  ASSERT_EQ(Do(SetTranslations({})), "");
  Restart("second run");
  Database(SqliteStore::File(m_Folder.Name()), Database::Mode::k_ReadWrite)
      .Execute("UPDATE document SET document = replace(document, 'Own', 'Owl');"
               "UPDATE audit SET change = x'ff' WHERE sequence = 4");
  m_Writer->Start();
  EXPECT_THAT(Do(RevertOf({1})), HasSubstr("what 1 changed cannot be read any more: A product in the audit"));
  EXPECT_THAT(Do(RevertOf({4})), HasSubstr("what 4 changed cannot be read any more: A change in the audit"));
  EXPECT_THAT(Do(RevertOf({3})), HasSubstr("what 4 changed cannot be read any more"));
  EXPECT_EQ(Do(RevertOf({2})), "");
}

TEST_F(RevertTest, OfARecordThatHasLeftTheTrailIsToldAsThat) {
  m_Writer->Start();
  ASSERT_EQ(Do(Set("a", "1")), "");
  ASSERT_EQ(Do(Set("b", "1")), "");
  Restart("second run");
  Database(SqliteStore::File(m_Folder.Name()), Database::Mode::k_ReadWrite)
      .Execute("DELETE FROM audit WHERE sequence = 1");
  m_Writer->Start();
  EXPECT_EQ(Do(RevertOf({1})),
            "Nothing was reverted: the record of change 1 has left the trail, which begins with 2 now");
  EXPECT_EQ(Do(RevertOf({5})), "Nothing was reverted: there is no change 5");
}

class OtherDefaults : public RevertTest {
protected:
  OtherDefaults() {
    std::filesystem::create_directory(m_Defaults.str().str());
    const ProductMap products = SampleFarm().m_Products.Defaults();
    for (const auto& entry : products)
      Write(entry.second);
    m_Products = m_Defaults;
    Restart("a run");
    m_Writer->Start();
  }
  void Write(const shared_ptr<const Product>& product) {
    WriteTextFile((m_Defaults / (product->Type().ToString() + ".json")).str().str(), product->Document());
  }
  const Path m_Defaults = Path(m_Folder / "defaults");
};

TEST_F(OtherDefaults, AreReadWhileServingAndRecordedAndToldToClients) {
  Write(MakeProduct(1, "Alpha", {"new"}));
  m_Writer->Reload({}, m_Defaults, [](const rlib::Result<>&) {});
  WaitForBatches(1);
  EXPECT_TRUE(LastBatch().m_Results.empty());
  EXPECT_TRUE(LastBatch().m_ProductsChanged);
  EXPECT_FALSE(LastBatch().m_ChangedProducts) << "all";
  EXPECT_EQ(LastBatch().m_Snapshot->m_Products->m_Products.at(Type(1))->Aliases().front(), "new");
  const AuditRecord record = Last();
  EXPECT_EQ(record.m_Sequence, 1);
  EXPECT_EQ(record.m_ClientKey, "master");
  EXPECT_EQ(record.m_ClientName, "brenic-master");
  EXPECT_EQ(record.m_Class, "DefaultProducts");
  EXPECT_EQ(record.m_Result, "committed");
  EXPECT_EQ(record.m_Run, "a run");
  ASSERT_TRUE(record.m_Change);
  EXPECT_EQ(record.m_Change->m_Defaults.size(), 1u);
  EXPECT_EQ(Do(RevertOf({1})),
            "Nothing was reverted: 1 only read other default products, which are not reverted");
  ASSERT_EQ(Do(Set("a", "1")), "") << "the writer goes on";
}

TEST_F(OtherDefaults, ThatAreTheSameWriteNothing) {
  m_Writer->Reload({}, m_Defaults, [](const rlib::Result<>&) {});
  ASSERT_EQ(Do(Set("a", "1")), "");
  m_Writer->Reload({}, m_Defaults, [](const rlib::Result<>&) {});
  ASSERT_EQ(Do(Set("a", "2")), "");
  EXPECT_EQ(Newest(), 2);
  EXPECT_EQ(BatchCount(), 2u);
}

TEST_F(OtherDefaults, OfAFolderThatCannotBeReadStay) {
  std::filesystem::remove_all(m_Defaults.str().str());
  m_Writer->Reload({}, m_Defaults, [](const rlib::Result<>&) {});
  ASSERT_EQ(Do(Set("a", "1")), "");
  EXPECT_EQ(Newest(), 1);
}

TEST_F(OtherDefaults, OfANewFarmAreNoChange) {
  const TempFolder folder;
  SqliteStore::Create(SqliteStore::File(folder.Name()), MasterRecord(),
                      {"01", "admin", Role::k_Administrator});
  SqliteStore store(folder.Name(), Database::Mode::k_ReadWrite);
  Farm farm = store.LoadFarm();
  EXPECT_TRUE(TakeDefaultProducts(*DefaultProductFiles(m_Defaults), store, farm, "run", 5));
  EXPECT_EQ(farm.m_Products.Effective().size(), 2u);
  EXPECT_EQ(Describe(store.LoadFarm()), Describe(farm));
  EXPECT_EQ(store.SequenceRange().m_Newest, 0);
  EXPECT_FALSE(TakeDefaultProducts(*DefaultProductFiles(m_Defaults), store, farm, "run", 5));
  EXPECT_TRUE(TakeDefaultProducts({}, store, farm, "run", 5));
  EXPECT_TRUE(TakeDefaultProducts(*DefaultProductFiles(m_Defaults), store, farm, "run", 5));
  EXPECT_EQ(Describe(store.LoadFarm()), Describe(farm));
  EXPECT_EQ(store.SequenceRange().m_Newest, 2);
}

TEST_F(OtherDefaults, WithoutRoomStayInStoreAndMemory) {
  const TempFolder folder;
  SqliteStore::Create(SqliteStore::File(folder.Name()), MasterRecord(),
                      {"01", "admin", Role::k_Administrator});
  SqliteStore store(folder.Name(), Database::Mode::k_ReadWrite);
  Farm farm = store.LoadFarm();
  TakeDefaultProducts(*DefaultProductFiles(m_Defaults), store, farm, "run", 5);
  const std::string before = Describe(farm);
  store.Connection().Execute("PRAGMA max_page_count = 1");
  WriteTextFile((m_Defaults / "long.json").str().str(),
                fmt::format(R"({{"id":"{}","name":"Gamma","description":"{}"}})", Type(3).ToString().str(),
                            std::string(200'000, 'x')));
  try {
    TakeDefaultProducts(*DefaultProductFiles(m_Defaults), store, farm, "run", 5);
    FAIL();
  } catch (const StoreFailure& failure) {
    EXPECT_EQ(failure.Which(), StoreFailure::Kind::k_Full);
  }
  EXPECT_EQ(Describe(farm), before);
  EXPECT_EQ(Describe(store.LoadFarm()), before);
  store.Begin(); // no transaction is left open
  store.Commit();
}

} // namespace
} // namespace brenic::master
