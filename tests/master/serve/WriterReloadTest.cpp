// What a writer takes anew, and how one sees that it works.
#include <future>

#include "brenic/SystemMessages.h"
#include "serve/Watchdog.h"
#include "serve/WriterFixture.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class WriterReloadTest : public WriterTest {
protected:
  WriterReloadTest() { m_Writer->Start(); }

  rlib::Result<> Reload(const MachineCommandLines& commands, const Path& products) {
    std::promise<rlib::Result<>> taken;
    m_Writer->Reload(commands, products, [&](const rlib::Result<>& result) { taken.set_value(result); });
    return taken.get_future().get();
  }
  bool CanShutDown() {
    const auto machine = Make<MachineMsg>([](auto& m) { m.m_Command = MachineMsg::k_Shutdown; });
    return Ask(machine).m_Answer.outcome() == wire::Answer::COMMITTED;
  }
};

TEST_F(WriterReloadTest, TakesCommandsAndTellsOfProducts) {
  EXPECT_FALSE(CanShutDown());
  ASSERT_TRUE(Reload({"", "shutdown"}, SAMPLE_PRODUCTS));
  EXPECT_TRUE(CanShutDown());
  const std::lock_guard lock(m_Mutex);
  const auto told = std::find_if(m_Batches.begin(), m_Batches.end(),
                                 [](const Batch& batch) { return batch.m_ProductsChanged; });
  ASSERT_NE(told, m_Batches.end());
  EXPECT_FALSE(told->m_ChangedProducts);
}

TEST_F(WriterReloadTest, TellsNobodyOfTheSameProducts) {
  ASSERT_TRUE(Reload({}, SAMPLE_PRODUCTS));
  {
    const std::lock_guard lock(m_Mutex);
    m_Batches.clear();
  }
  ASSERT_TRUE(Reload({}, SAMPLE_PRODUCTS));
  const std::lock_guard lock(m_Mutex);
  EXPECT_TRUE(m_Batches.empty());
}

TEST_F(WriterReloadTest, TakesNothingWhereTheProductsCannotBeRead) {
  const rlib::Result<> taken = Reload({"", "shutdown"}, m_Folder / "missing");
  ASSERT_FALSE(taken);
  EXPECT_THAT(taken.Reason().str(), HasSubstr("Cannot read the folder of products"));
  EXPECT_FALSE(CanShutDown());
}

TEST_F(WriterReloadTest, TakesNothingWhereTheProductsCannotBeStored) {
  Database other(SqliteStore::File(m_Folder.Name()), Database::Mode::k_ReadWrite);
  other.Execute("BEGIN IMMEDIATE");
  m_Writer->Hurry(); // it does not wait for the other one
  const rlib::Result<> taken = Reload({"", "shutdown"}, SAMPLE_PRODUCTS);
  other.Execute("ROLLBACK");
  ASSERT_FALSE(taken);
  EXPECT_THAT(taken.Reason().str(), HasSubstr("The default products cannot be stored"));
  EXPECT_FALSE(CanShutDown());
}

TEST_F(WriterReloadTest, ComesAfterWhatWasSubmittedBefore) {
  std::unique_lock held(m_Mutex); // keeps the writer in what it delivers
  const auto machine = Make<MachineMsg>([](auto& m) { m.m_Command = MachineMsg::k_Shutdown; });
  Submit(machine);
  std::promise<void> done;
  m_Writer->Reload({"", "shutdown"}, {}, [&](const rlib::Result<>&) { done.set_value(); });
  held.unlock();
  done.get_future().get();
  EXPECT_EQ(Read(Finish().front()).m_Answer.outcome(), wire::Answer::REFUSED);
}

TEST_F(WriterReloadTest, PulseEndsOnlyWhenNothingIsDoneForLong) {
  Pulse pulse(*m_Writer, 3);
  EXPECT_TRUE(pulse.Look());
  std::promise<void> reached, go;
  m_Writer->Do([&] {
    reached.set_value();
    go.get_future().get();
  });
  reached.get_future().get(); // what the first look asked for is done
  EXPECT_TRUE(pulse.Look());
  EXPECT_TRUE(pulse.Look());
  EXPECT_TRUE(pulse.Look());
  EXPECT_FALSE(pulse.Look());
  EXPECT_FALSE(pulse.Look());
  go.set_value();
  std::promise<void> done;
  m_Writer->Do([&] { done.set_value(); });
  done.get_future().get();
  EXPECT_TRUE(pulse.Look());
}

TEST_F(WriterReloadTest, EveryRequestOfALongRoundIsAStep) {
  std::unique_lock held(m_Mutex);
  for (int i = 0; i < 3; ++i)
    Submit(Set("name", std::to_string(i)));
  held.unlock();
  const uint64_t before = m_Writer->Steps();
  Finish();
  EXPECT_LE(before, 3u);
  EXPECT_EQ(m_Writer->Steps(), 3u);
}

} // namespace
} // namespace brenic::master
