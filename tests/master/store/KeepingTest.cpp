// How old records leave the store's audit trail.
#include <gmock/gmock.h>

#include "farm/RandomRequests.h"
#include "store/Records.h"
#include "store/StoreFixture.h"

namespace brenic::master {
namespace {

class KeepingTest : public StoreFixture {
protected:
  /// One record, of what the request does to the farm, if there is one; the store's sequence.
  void Add(int64_t time, const shared_ptr<Message>& message = nullptr, std::string request = {}) {
    const Change change = message ? ChangeOf(m_Store->LoadFarm(), *message) : Change();
    AuditRecord record = CommittedRecord(time, change);
    record.m_Size = request.size();
    record.m_Request = std::make_shared<const std::string>(std::move(request));
    m_Store->Begin();
    m_Store->Apply(change);
    m_Store->Record(record);
    m_Store->Commit();
  }
  std::vector<int64_t> Sequences() {
    std::vector<int64_t> sequences;
    m_Store->ReadAudit(0, [&](const AuditRecord& record) { sequences.push_back(record.m_Sequence); });
    return sequences;
  }
  std::string Scalar(const char* sql) { return m_Store->Connection().Scalar(sql); }
  /// All that are older than `before`.
  static AuditPiece Piece(int64_t before) {
    AuditPiece piece;
    piece.m_Before = before;
    piece.m_Now = 1'000'000;
    piece.m_Last = 1'000'000;
    piece.m_Records = 1000;
    piece.m_Bytes = 1'000'000;
    return piece;
  }
  void RemoveAllDocuments() {
    std::optional<DocumentMark> mark = DocumentMark();
    while (mark)
      mark = m_Store->RemoveDocuments(*mark, 1, [] { return true; });
  }
};

using testing::ElementsAre;

TEST_F(KeepingTest, OlderRecordsLeaveAndTheirIdentifiersWithThem) {
  for (const int64_t time : {1000, 2000, 3000, 4000})
    Add(time);
  const AuditRemoval removal = m_Store->RemoveAudit(Piece(3000));
  EXPECT_EQ(removal.m_Records, 2u);
  EXPECT_EQ(removal.m_UpTo, 2000);
  EXPECT_THAT(Sequences(), ElementsAre(3, 4));
  EXPECT_EQ(m_Store->RemoveAudit(Piece(3000)).m_Records, 0u);
}

TEST_F(KeepingTest, APieceIsBoundedByRecordsAndByBytes) {
  for (int i = 0; i != 10; ++i)
    Add(1000, nullptr, std::string(i == 3 ? 5000 : 10, 'x'));
  AuditPiece piece = Piece(3000);
  piece.m_Records = 2;
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 2u);
  piece.m_Records = 100;
  piece.m_Bytes = 1000;
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 2u) << "it ends with the long one";
  EXPECT_THAT(Sequences(), ElementsAre(5, 6, 7, 8, 9, 10));
  piece.m_Bytes = 1; // a longer one leaves alone
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 1u);
}

TEST_F(KeepingTest, APieceEndsAsSoonAsSomebodyWaits) {
  for (int i = 0; i != 10; ++i)
    Add(1000);
  AuditPiece piece = Piece(3000);
  int asked = 0;
  piece.m_GoOn = [&] { return ++asked < 3; };
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 3u);
  EXPECT_THAT(Sequences(), ElementsAre(4, 5, 6, 7, 8, 9, 10));
}

TEST_F(KeepingTest, NothingLeavesBehindARecordThatStays) {
  for (const int64_t time : {1000, 5000, 2000, 1000})
    Add(time);
  EXPECT_EQ(m_Store->RemoveAudit(Piece(3000)).m_Records, 1u);
  EXPECT_THAT(Sequences(), ElementsAre(2, 3, 4));
}

TEST_F(KeepingTest, NothingLeavesThatIsTooNew) {
  for (int i = 0; i != 5; ++i)
    Add(1000);
  AuditPiece piece = Piece(3000);
  piece.m_Last = 3;
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 3u);
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 0u);
  EXPECT_THAT(Sequences(), ElementsAre(4, 5));
}

TEST_F(KeepingTest, RecordsOfAClockThatWasAheadLeaveWithAnOlderOneBehindThem) {
  for (const int64_t time : {9'000'000, 9'000'001, 1000, 9'000'002, 5000})
    Add(time);
  AuditPiece piece = Piece(3000);
  piece.m_Records = 2;
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 2u);
  const AuditRemoval removal = m_Store->RemoveAudit(piece);
  EXPECT_EQ(removal.m_Records, 1u);
  EXPECT_EQ(removal.m_UpTo, 1000);
  EXPECT_EQ(m_Store->RemoveAudit(piece).m_Records, 0u) << "nothing behind the fourth is older";
  EXPECT_THAT(Sequences(), ElementsAre(4, 5));
}

TEST_F(KeepingTest, ASequenceIsNeverUsedAgain) {
  for (int i = 0; i != 3; ++i)
    Add(1000);
  EXPECT_EQ(m_Store->RemoveAudit(Piece(3000)).m_Records, 3u);
  EXPECT_FALSE(m_Store->NewestAudit());
  Open();
  Add(4000);
  EXPECT_THAT(Sequences(), ElementsAre(4));
  EXPECT_EQ(m_Store->NewestAudit(), (std::pair<int64_t, int64_t>(4, 4000)));
}

TEST_F(KeepingTest, TheTrailIsReadWhileItsBeginningLeaves) {
  for (int i = 0; i != 2500; ++i)
    Add(1000 + i);
  SqliteStore reader(m_Folder.Name(), Database::Mode::k_ReadOnly);
  std::vector<int64_t> read;
  reader.ReadAudit(0, [&](const AuditRecord& record) {
    read.push_back(record.m_Sequence);
    if (record.m_Sequence == 500)
      while (m_Store->RemoveAudit(Piece(3000)).m_Records != 0) {
      }
  });
  ASSERT_EQ(read.size(), 1500u) << "a page, and what stayed";
  EXPECT_EQ(read[999], 1000);
  EXPECT_EQ(read[1000], 2001);
  EXPECT_EQ(read.back(), 2500);
}

TEST_F(KeepingTest, DocumentsLeaveWithTheLastRecordThatRefersToThem) {
  const auto own = MakeProduct(3, "Own");
  Add(1000, InstallProduct(own));
  Add(2000, InstallProduct(MakeProduct(3, "Own", {"newer"})));
  Add(3000, InstallProduct(MakeProduct(4, "Other")));
  Add(4000, RemoveProduct(Type(4)));
  ASSERT_EQ(Scalar("SELECT count(*) FROM document"), "3");
  EXPECT_EQ(m_Store->RemoveAudit(Piece(1500)).m_Records, 1u);
  RemoveAllDocuments();
  EXPECT_EQ(Scalar("SELECT count(*) FROM document"), "3") << "the second change replaced the first document";
  EXPECT_EQ(m_Store->RemoveAudit(Piece(3500)).m_Records, 2u);
  RemoveAllDocuments();
  EXPECT_EQ(Scalar("SELECT count(*) FROM document WHERE document NOT LIKE '%newer%'"), "1")
      << "the removal of the other one stayed";
  EXPECT_EQ(Scalar("SELECT count(*) FROM change_document"), "1");
  EXPECT_EQ(m_Store->RemoveAudit(Piece(5000)).m_Records, 1u);
  RemoveAllDocuments();
  EXPECT_EQ(Scalar("SELECT count(*) FROM change_document"), "0");
  EXPECT_EQ(Scalar("SELECT group_concat(document LIKE '%newer%') FROM document"), "1")
      << "which is installed";
  EXPECT_EQ(m_Store->LoadFarm().m_Products.Find(Type(3))->Document(),
            MakeProduct(3, "Own", {"newer"})->Document());
}

TEST_F(KeepingTest, APieceOfDocumentsThatEndsEarlyIsTakenUpAgain) {
  for (uint8_t type = 3; type != 9; ++type) {
    Add(1000, InstallProduct(MakeProduct(type, fmt::format("Product {}", type))));
    Add(1000, RemoveProduct(Type(type)));
  }
  while (m_Store->RemoveAudit(Piece(3000)).m_Records != 0) {
  }
  std::optional<DocumentMark> mark = DocumentMark();
  size_t pieces = 0;
  for (; mark; ++pieces)
    mark = m_Store->RemoveDocuments(*mark, 100, [] { return false; });
  EXPECT_EQ(pieces, 13u) << "one reference each";
  EXPECT_EQ(Scalar("SELECT count(*) FROM document"), "0");
}

TEST_F(KeepingTest, WaitsForNoOtherProgram) {
  Add(1000);
  Database other(SqliteStore::File(m_Folder.Name()), Database::Mode::k_ReadWrite);
  other.Execute("BEGIN IMMEDIATE");
  const auto began = std::chrono::steady_clock::now();
  try {
    m_Store->RemoveAudit(Piece(3000));
    FAIL();
  } catch (const StoreFailure& failure) {
    EXPECT_EQ(failure.Which(), StoreFailure::Kind::k_Busy);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5)) << "a request waits for 10";
  other.Execute("ROLLBACK");
  EXPECT_EQ(m_Store->RemoveAudit(Piece(3000)).m_Records, 1u);
}

} // namespace
} // namespace brenic::master
