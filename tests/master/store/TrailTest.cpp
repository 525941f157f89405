// The audit trail as the rules and the history see it.
#include <gmock/gmock.h>

#include "farm/Samples.h"
#include "store/Defaults.h"
#include "store/Records.h"
#include "store/StoreFixture.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TrailTest : public StoreFixture {
protected:
  void Add(int64_t time, const String& name, const std::string& result, const Change& change,
           const std::string& fields = "") {
    AuditRecord record = CommittedRecord(time, change);
    record.m_ClientName = name;
    record.m_Result = result;
    record.m_FieldsOfLayout1 = fields;
    m_Store->Record(record);
  }
  static Change Option(const String& name) {
    Change change;
    change.m_Options = {{UID::Null, name, {std::nullopt, String("1")}}};
    return change;
  }
  std::vector<int64_t> Back(int64_t beyond, size_t most = 99999) {
    std::vector<int64_t> sequences;
    m_Store->ReadChangesBack(beyond, [&](const TrailRecord& record) {
      sequences.push_back(record.m_Sequence);
      return sequences.size() != most;
    });
    return sequences;
  }
  std::vector<int64_t> History(int64_t since, size_t most = 99999) {
    std::vector<int64_t> sequences;
    m_Store->ReadHistory(since, [&](const AuditRecord& record) {
      sequences.push_back(record.m_Sequence);
      return sequences.size() != most;
    });
    return sequences;
  }
};

TEST_F(TrailTest, HoldsWhatChangedSomethingNewestFirst) {
  EXPECT_EQ(m_Store->SequenceRange().m_Newest, 0);
  EXPECT_FALSE(m_Store->FindRecord(1));
  EXPECT_THAT(Back(0), IsEmpty());
  EXPECT_THAT(History(0), IsEmpty());
  Add(100, "ann", "committed", {}, "{}"); // of layout 1
  Add(200, "ann", "refused", {});
  Add(150, "bob", "committed", Option("a")); // the clock was turned back
  Add(300, "ann", "committed", {});
  Add(400, "ann", "committed", Option("b"));
  EXPECT_THAT(Back(0), ElementsAre(5, 3));
  EXPECT_THAT(Back(3), ElementsAre(5));
  EXPECT_THAT(Back(0, 1), ElementsAre(5));
  EXPECT_THAT(History(0), ElementsAre(5, 3, 1));
  EXPECT_THAT(History(0, 2), ElementsAre(5, 3));
  EXPECT_THAT(History(160), ElementsAre(5));
  EXPECT_THAT(History(120), ElementsAre(5, 3));
  EXPECT_THAT(History(500), IsEmpty());

  const auto record = m_Store->FindRecord(3);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->m_Sequence, 3);
  EXPECT_EQ(record->m_Time, 150);
  EXPECT_EQ(record->m_Client, "bob");
  EXPECT_EQ(record->m_Class, "SetMasterOptionsMsg");
  EXPECT_EQ(record->m_Result, "committed");
  EXPECT_FALSE(record->m_IsOfLayout1);
  ASSERT_TRUE(record->m_Load);
  EXPECT_EQ(**record->m_Load(), Option("a"));
  EXPECT_TRUE(m_Store->FindRecord(1)->m_IsOfLayout1);
  EXPECT_FALSE(m_Store->FindRecord(1)->m_Load);
  EXPECT_EQ(m_Store->FindRecord(2)->m_Result, "refused");
}

TEST_F(TrailTest, TellsItsEndsAlsoWhenRecordsHaveLeft) {
  for (int i = 0; i != 3; ++i)
    Add(i, "ann", "committed", Option("a"));
  m_Store->Connection().Execute("DELETE FROM audit WHERE sequence = 1");
  EXPECT_EQ(m_Store->SequenceRange().m_Oldest, 2);
  EXPECT_EQ(m_Store->SequenceRange().m_Newest, 3);
  m_Store->Connection().Execute("DELETE FROM audit");
  EXPECT_EQ(m_Store->SequenceRange().m_Oldest, 0);
  EXPECT_EQ(m_Store->SequenceRange().m_Newest, 3);
}

TEST_F(TrailTest, IsReadInPages) {
  m_Store->Begin();
  for (int i = 0; i != 2500; ++i)
    Add(i, "ann", "committed", Option("a"));
  m_Store->Commit();
  std::vector<int64_t> expected;
  for (int64_t i = 2500; i != 0; --i)
    expected.push_back(i);
  EXPECT_EQ(Back(0), expected);
  EXPECT_EQ(History(0), expected);
  EXPECT_EQ(History(1).size(), 2499u);
}

TEST_F(TrailTest, PassesOverWhatConcernsNoListWhenListsAreAskedFor) {
  Change limits, translations, several;
  limits.m_UserLimits = UserLimitsChange{"UserLimits", false, true, {{{0, {}, {"ann=5"}}}}};
  translations.m_Translations.m_Runs = {{0, {}, {{{1, "/a"}}}}};
  several.m_Limits = {{Type(1), {1, 2}}};
  several.m_Restrictions = {{"UserLimits", true}};
  several.m_Products = {{Type(1), {std::nullopt, Customisation()}}};
  const auto changes = {Option("a"), limits, several, translations, Option("userLIMITS"), Option("b")};
  for (int round = 0; round != 400; ++round) {
    m_Store->Begin();
    for (const Change& change : changes)
      Add(round, "ann", "committed", change);
    m_Store->Commit();
  }
  std::vector<int64_t> found, expected;
  for (int64_t begin = 400 * 6 - 6; begin >= 0; begin -= 6)
    expected.insert(expected.end(), {begin + 5, begin + 4, begin + 2});
  const auto read = [&](size_t most) {
    found.clear();
    m_Store->ReadListChangesBack(0, [&](const TrailRecord& record) {
      found.push_back(record.m_Sequence);
      return found.size() != most;
    });
    return found;
  };
  EXPECT_EQ(read(99999), expected);
  EXPECT_EQ(read(2), (std::vector<int64_t>{2399, 2398}));
  m_Store->Connection().Execute("UPDATE audit SET change = x'0a05' WHERE sequence = 2400");
  EXPECT_EQ(read(1), (std::vector<int64_t>{2400})) << "what cannot be read is not passed over";
}

TEST_F(TrailTest, GivesTheDocumentsThatItNeedsAndNoDamagedOnes) {
  SetDefaults(*m_Store, SampleFarm().m_Products.Defaults());
  Change change;
  change.m_Products = {{Type(3), {std::nullopt, Customisation{MakeProduct(3, "Own")}}}};
  Add(1, "ann", "committed", change);
  std::set<String> names;
  m_Store->ReadDocuments([&](const Product& product) { names.insert(product.Name()); });
  EXPECT_THAT(names, ElementsAre("Alpha", "Beta", "Own"));
  EXPECT_EQ(**m_Store->FindRecord(1)->m_Load(), change);
  m_Store->Connection().Execute("UPDATE document SET document = '{' WHERE document LIKE '%Own%'");
  EXPECT_FALSE(m_Store->FindRecord(1)->m_Load());
  m_Store->ReadChangesBack(0, [&](const TrailRecord& record) {
    EXPECT_TRUE(record.m_Load()) << "which types it concerns can be told all the same";
    return true;
  });
  names.clear();
  m_Store->ReadDocuments([&](const Product& product) { names.insert(product.Name()); });
  EXPECT_THAT(names, ElementsAre("Alpha", "Beta"));
}

} // namespace
} // namespace brenic::master
