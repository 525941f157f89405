// What a Writer does when its store fails.
#include "serve/WriterFixture.h"

namespace brenic::master {
namespace {

TEST_F(WriterTest, RefusesWritesAndAnswersReadsWhileTheDiskIsFull) {
  m_Store->Connection().Execute("PRAGMA max_page_count = 1");
  Submit(Set("long", String(std::string(60'000, 'x'))));
  Submit(Set("a", "1"));
  Submit(Get("a"));
  m_Writer->Start();
  const auto results = Finish();
  EXPECT_EQ(Read(results[0]).m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(Read(results[1]).m_Answer.reason(), "The Master's disk is full; this request changed nothing");
  EXPECT_EQ(Read(results[2]).m_Answer.outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(Read(results[2]).m_Reply->m_Options.at("a"), "");
}

TEST_F(WriterTest, ARequestAboutCertificatesThatMeetsAFullDiskIsToldSo) {
  m_Manage = [](Store& store, const Message&, const Moment&) {
    store.SetAddress(String(std::string(60'000, 'x')));
    return rlib::Result<Managed>(Managed());
  };
  Restart("another run");
  m_Store->Connection().Execute("PRAGMA max_page_count = 1");
  m_Writer->Start();
  const auto message = Make<RevokeClientMsg>([](auto& revoke) { revoke.m_Client = "node"; });
  const Told told = Ask(message);
  EXPECT_EQ(told.m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(told.m_Answer.reason(), "The Master's disk is full; this request changed nothing");
  EXPECT_EQ(m_Store->LoadMaster().m_Address, "");
  m_Store->Connection().Execute("PRAGMA max_page_count = 100000"); // the writer is idle now
  EXPECT_EQ(Ask(message).m_Answer.outcome(), wire::Answer::COMMITTED) << "the same request, again";
}

TEST_F(WriterTest, RecoversByItselfWhenThereIsRoomAgain) {
  m_Store->Connection().Execute("PRAGMA max_page_count = 1");
  const auto write = Set("long", String(std::string(60'000, 'x')));
  m_Writer->Start();
  EXPECT_EQ(Ask(write).m_Answer.outcome(), wire::Answer::REFUSED);
  m_Store->Connection().Execute("PRAGMA max_page_count = 100000"); // the writer is idle now
  EXPECT_EQ(Ask(Set("long", "1")).m_Answer.outcome(), wire::Answer::COMMITTED);
}

TEST_F(WriterTest, RefusesWritesWhileAnotherProgramHoldsTheDatabase) {
  m_Store->Connection().Execute("PRAGMA busy_timeout = 0");
  Database other(SqliteStore::File(m_Folder.Name()), Database::Mode::k_ReadWrite);
  other.Execute("BEGIN IMMEDIATE");
  m_Writer->Start();
  const Told told = Ask(Set("a", "1"));
  EXPECT_EQ(told.m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(told.m_Answer.reason(), testing::HasSubstr("Another program holds the Master's database"));
  EXPECT_EQ(Ask(Get("a")).m_Reply->m_Options.at("a"), "");
  other.Execute("ROLLBACK");
  EXPECT_EQ(Ask(Set("a", "1")).m_Answer.outcome(), wire::Answer::COMMITTED);
}

using WriterDeathTest = WriterTest;

TEST_F(WriterDeathTest, EndsTheProcessWhenTheDatabaseFails) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        m_Store->Connection().Execute("DROP TABLE audit");
        Submit(Set("a", "1"));
        m_Writer->Start();
        Finish();
      },
      testing::ExitedWithCode(1), "database failed");
}

} // namespace
} // namespace brenic::master
