// When old records leave the audit trail, and which never do.
#include <gmock/gmock.h>

#include "serve/AuditKeeping.h"
#include "serve/WriterFixture.h"
#include "store/Records.h"
#include "store/StoreFixture.h"

namespace brenic::master {
namespace {

using std::chrono::hours;
using testing::ElementsAre;

constexpr int64_t k_Hour = 60 * 60 * 1000;
constexpr int64_t k_Day = 24 * k_Hour;
constexpr int64_t k_Today = 20'000 * k_Day; // 2024-10-04

/// Keeps 10 days, on clocks that the test moves.
class AuditKeepingTest : public StoreFixture {
protected:
  AuditKeepingTest() { Start(); }
  void Start() {
    m_Keeping = std::make_unique<AuditKeeping>(*m_Store, KeepingOptions{10, [this] { return m_Wall; }});
  }
  void Add(int64_t time) { m_Store->Record(CommittedRecord(time)); }
  /// Both clocks; the work of that time is done.
  void Pass(std::chrono::minutes time) {
    for (; time.count() > 0; time -= std::chrono::minutes(1)) {
      m_Now += std::chrono::minutes(1);
      if (m_Wall)
        *m_Wall += 60'000;
      Work();
    }
  }
  /// All that is to be done now.
  void Work() {
    while (m_Keeping->Due(m_Now) < m_Now + std::chrono::minutes(1))
      m_Keeping->Work(m_Now, [] { return true; });
  }
  std::vector<int64_t> Sequences() {
    std::vector<int64_t> sequences;
    m_Store->ReadAudit(0, [&](const AuditRecord& record) { sequences.push_back(record.m_Sequence); });
    return sequences;
  }

  AuditKeeping::Clock::time_point m_Now{hours(1000)};
  std::optional<int64_t> m_Wall = k_Today;
  std::unique_ptr<AuditKeeping> m_Keeping;
};

TEST_F(AuditKeepingTest, WhatIsOlderThanThatManyDaysLeavesAndWhatIsNotStays) {
  for (const int64_t time : {k_Today - 400 * k_Day, k_Today - 10 * k_Day - 1, k_Today - 10 * k_Day, k_Today})
    Add(time);
  Work();
  EXPECT_THAT(Sequences(), ElementsAre(3, 4));
  Pass(hours(23));
  EXPECT_THAT(Sequences(), ElementsAre(3, 4)) << "records leave by whole days";
  Pass(hours(1));
  EXPECT_THAT(Sequences(), ElementsAre(4));
}

TEST_F(AuditKeepingTest, WhatIsKeptForFewerDaysLeavesAtOnce) {
  for (const int64_t time : {k_Today - 5 * k_Day, k_Today - 4 * k_Day, k_Today})
    Add(time);
  Work();
  EXPECT_EQ(Sequences().size(), 3u);
  m_Keeping->SetDays(4);
  Work();
  EXPECT_THAT(Sequences(), ElementsAre(2, 3));
}

TEST_F(AuditKeepingTest, NothingLeavesWhileTheClockIsNotTrusted) {
  Add(k_Today - 400 * k_Day);
  Add(k_Today);
  m_Wall.reset();
  Pass(hours(100));
  EXPECT_THAT(Sequences(), ElementsAre(1, 2));
  m_Wall = k_Today;
  Pass(hours(1));
  EXPECT_THAT(Sequences(), ElementsAre(2));
}

TEST_F(AuditKeepingTest, TheNewestRecordsStayAlsoWhenAStartFindsTheClockAhead) {
  for (const int64_t hour : {26, 25, 23, 1, 0})
    Add(k_Today - hour * k_Hour);
  m_Wall = k_Today + 1000 * k_Day;
  Start();
  Pass(hours(2));
  EXPECT_THAT(Sequences(), ElementsAre(3, 4, 5)) << "the last day that the trail tells of";
  Add(*m_Wall); // what is new makes the others no older
  Pass(hours(21));
  EXPECT_THAT(Sequences(), ElementsAre(3, 4, 5, 6));
  Pass(hours(2));
  EXPECT_THAT(Sequences(), ElementsAre(6));
}

TEST_F(AuditKeepingTest, WhatWasRecordedInTheLastDayStaysWhateverTheClockDoes) {
  Add(k_Today);
  Work();
  Pass(hours(10));
  Add(*m_Wall);
  Pass(hours(10));
  m_Wall = *m_Wall + 3000 * k_Day;
  Add(*m_Wall);
  Pass(hours(3));
  EXPECT_THAT(Sequences(), ElementsAre(1, 2, 3));
  Pass(hours(2));
  EXPECT_THAT(Sequences(), ElementsAre(2, 3)) << "which is less than a day old";
  Pass(hours(11));
  EXPECT_THAT(Sequences(), ElementsAre(3));
}

TEST_F(AuditKeepingTest, NothingLeavesWhenTheClockGoesBack) {
  for (const int64_t time : {k_Today - 20 * k_Day, k_Today - 15 * k_Day, k_Today})
    Add(time);
  m_Wall = k_Today - 12 * k_Day;
  Pass(hours(30));
  EXPECT_THAT(Sequences(), ElementsAre(1, 2, 3));
  m_Wall = k_Today - 7 * k_Day;
  Pass(hours(1));
  EXPECT_THAT(Sequences(), ElementsAre(2, 3));
}

TEST_F(AuditKeepingTest, RecordsOfAClockThatWasAheadDoNotKeepOlderOnesForEver) {
  Add(k_Today + 5000 * k_Day);
  Add(k_Today - 20 * k_Day);
  Add(k_Today + 5000 * k_Day);
  Add(k_Today - 1 * k_Hour);
  Work();
  EXPECT_THAT(Sequences(), ElementsAre(3, 4));
}

TEST_F(AuditKeepingTest, AMasterThatIsNeverIdleGetsOnAsWell) {
  for (int i = 0; i != 100; ++i)
    Add(k_Today - 400 * k_Day);
  Add(k_Today);
  size_t rounds = 0;
  for (; Sequences().size() > 1 && rounds < 20'000; ++rounds)
    m_Keeping->AfterRound(m_Now);
  EXPECT_GT(rounds, 1000u) << "most rounds have nothing to do with it";
  EXPECT_LT(rounds, 5000u);
}

TEST_F(AuditKeepingTest, AfterAFailureItTriesAgainLater) {
  Add(k_Today - 400 * k_Day);
  Add(k_Today);
  {
    Database other(SqliteStore::File(m_Folder.Name()), Database::Mode::k_ReadWrite);
    other.Execute("BEGIN IMMEDIATE");
    Work();
    other.Execute("ROLLBACK");
  }
  Pass(std::chrono::minutes(59));
  EXPECT_THAT(Sequences(), ElementsAre(1, 2));
  Pass(std::chrono::minutes(2));
  EXPECT_THAT(Sequences(), ElementsAre(2));
}

TEST_F(WriterTest, LetsOldRecordsLeaveWhileItServes) {
  constexpr size_t k_Old = 500;
  for (size_t i = 0; i != k_Old + 1; ++i)
    m_Store->Record(CommittedRecord(i == k_Old ? rlib::Time::Now().Milliseconds() : 1000));
  m_Writer->Start();
  SqliteStore reader(m_Folder.Name(), Database::Mode::k_ReadOnly);
  const auto last = [&] { return Submit(Set("a", "1")), Finish(), reader.NewestAudit()->first; };
  const auto count = [&] {
    return reader.Connection().Scalar("SELECT count(*) FROM audit WHERE time = 1000");
  };
  EXPECT_EQ(last(), static_cast<int64_t>(k_Old + 2));
  while (count() != "0") { // ends when they have left, or at the time limit of the test
  }
  EXPECT_EQ(last(), static_cast<int64_t>(k_Old + 3));
  m_Writer->SetAuditKeep(2);
  EXPECT_EQ(last(), static_cast<int64_t>(k_Old + 4));
}

} // namespace
} // namespace brenic::master
