// What becomes of the databases of every layout that was released: layout1, layout2 and layout3, which their
// README.md explain.
#include <filesystem>
#include <future>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "TempFolder.h"
#include "rlib/Version.h"
#include "serve/TestFarm.h"
#include "serve/Writer.h"
#include "store/DatabaseContents.h"
#include "store/LayoutBackup.h"
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class EarlierLayouts : public testing::TestWithParam<int> {
protected:
  EarlierLayouts() { Restore(); }
  /// As the earlier program left it.
  void Restore() const {
    std::filesystem::remove_all(Data());
    std::filesystem::create_directory(Data());
    std::filesystem::permissions(Data(), std::filesystem::perms::owner_all);
    std::filesystem::copy_file(Kept("master.db"), File());
    chmod(File().c_str(), 0600);
  }
  std::string Data() const { return m_Folder / "data"; }
  std::string File() const { return Data() + "/master.db"; }
  std::string Backup() const { return LayoutBackup(Data(), GetParam()).str().str(); }
  static std::string Kept(const std::string& name) {
    return fmt::format("{}{}/{}", LAYOUTS, GetParam(), name);
  }

  std::string Output(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--data-dir", Data()});
    const Ended ended = RunMaster(arguments);
    EXPECT_EQ(ended.m_Status, 0) << ended.m_Errors;
    return ended.m_Output;
  }
  std::string Scalar(const char* sql) const {
    return Database(File(), Database::Mode::k_ReadOnly).Scalar(sql);
  }
  std::string Layout() const { return Scalar("PRAGMA user_version"); }

  const TempFolder m_Folder;
};

INSTANTIATE_TEST_SUITE_P(Layout, EarlierLayouts, testing::Range(1, k_Layout));

TEST_P(EarlierLayouts, HoldTheSameAsBefore) {
  ASSERT_EQ(Layout(), std::to_string(GetParam()));
  SqliteStore::BringToThisLayout(Data());
  auto expected = nlohmann::ordered_json::parse(ReadTextFile(Kept("state.json")));
  auto state = nlohmann::ordered_json::parse(Output({"state", "--json"}));
  state["master"]["version"] = expected["master"]["version"]; // of the program that printed it
  EXPECT_EQ(state, expected);
  EXPECT_EQ(Output({"state", "--ini"}), ReadTextFile(Kept("state.ini")));
  EXPECT_EQ(Output({"state"}), ReadTextFile(Kept("state.txt")));
  EXPECT_EQ(Lines(Output({"audit"})), Lines(ReadTextFile(Kept("audit.txt"))));
  EXPECT_EQ(Lines(Output({"audit", "--json"})), Lines(ReadTextFile(Kept("audit.jsonl"))));
}

TEST_P(EarlierLayouts, AreKeptBesideTheDatabase) {
  const std::string before = Contents(File());
  testing::internal::CaptureStderr();
  SqliteStore::BringToThisLayout(Data());
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_EQ(Layout(), std::to_string(k_Layout));
  EXPECT_EQ(Contents(Backup()), before);
  struct stat info {};
  ASSERT_EQ(stat(Backup().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  EXPECT_FALSE(std::filesystem::exists(Backup() + ".new"));
  EXPECT_THAT(
      told, HasSubstr(fmt::format("brought from layout {} to layout {}; as it was before, it is kept in '{}'",
                                  GetParam(), k_Layout, Backup())));
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);

  // The way back that it tells.
  const std::string run = "run: ";
  ASSERT_EQ(std::system(told.substr(told.find(run) + run.size()).c_str()), 0);
  EXPECT_EQ(Contents(File()), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Data()), std::filesystem::directory_iterator()),
            1);
}

TEST_P(EarlierLayouts, AreKeptAsTheyAreNowWhenTheyAreBroughtToThisLayoutAgain) {
  WriteTextFile(Backup(), "of an earlier time");
  WriteTextFile(Backup() + ".new", "of a start that was cut off");
  chmod((Backup() + ".new").c_str(), 0644);
  Database(File(), Database::Mode::k_ReadWrite).Execute("DELETE FROM restriction");
  const std::string before = Contents(File());
  SqliteStore::BringToThisLayout(Data());
  EXPECT_EQ(Contents(Backup()), before);
  struct stat info {};
  ASSERT_EQ(stat(Backup().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
}

TEST_P(EarlierLayouts, StayWhenThereCanBeNoCopyOfThem) {
  WriteTextFile(Backup(), "of an earlier time");
  std::filesystem::create_directories(Backup() + ".new/in the way");
  const std::string before = Contents(File());
  try {
    SqliteStore::BringToThisLayout(Data());
    FAIL();
  } catch (const StoreFailure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("and stays as it was; make room on its disk"));
    EXPECT_THAT(failure.what(), HasSubstr(Backup() + ".new'"));
  }
  EXPECT_EQ(Contents(File()), before);
  EXPECT_EQ(ReadTextFile(Backup()), "of an earlier time");
}

TEST_P(EarlierLayouts, StayWholeWhenTheyCannotBeBroughtToThisLayout) {
  // Each stands in the way at another point.
  for (const auto& [to, obstacle] :
       std::multimap<int, const char*>{{2, "CREATE TABLE product_of_layout_1 (a)"},
                                       {2, "CREATE TABLE document (a)"},
                                       {2, "ALTER TABLE audit ADD COLUMN change BLOB"},
                                       {3, "CREATE TABLE option_of_layout_2 (a)"},
                                       {4, "CREATE TABLE master_of_layout_3 (a)"},
                                       {4, "CREATE TABLE client_of_layout_3 (a)"},
                                       {4, "CREATE TABLE authority (a)"},
                                       {4, "CREATE INDEX client_name ON audit (client_name)"},
                                       {4, "CREATE TABLE clock (a)"}}) {
    if (to <= GetParam())
      continue;
    Restore();
    Database(File(), Database::Mode::k_ReadWrite).Execute(obstacle);
    const std::string before = Contents(File());
    try {
      SqliteStore::BringToThisLayout(Data());
      ADD_FAILURE() << obstacle;
    } catch (const StoreFailure& failure) {
      EXPECT_THAT(failure.what(), HasSubstr("stays as it was"));
    }
    EXPECT_EQ(Contents(File()), before) << obstacle;
  }
}

TEST_P(EarlierLayouts, TellWhichProgramTheyTakeNow) {
  SqliteStore::BringToThisLayout(Data());
  const std::string made = Scalar("PRAGMA application_id");
  EXPECT_GE(std::stol(made), rlib::PackVersion(1, 0, 0));
  const auto refusal = [&](const std::string& sql) {
    Database(File(), Database::Mode::k_ReadWrite).Execute(sql.c_str());
    try {
      const SqliteStore store(Data(), Database::Mode::k_ReadOnly);
    } catch (const StoreFailure& failure) {
      return std::string(failure.what());
    }
    return std::string();
  };
  EXPECT_THAT(refusal(fmt::format("PRAGMA user_version = 99; PRAGMA application_id = {}",
                                  rlib::PackVersion(7, 4, 2))),
              HasSubstr("It needs brenic-master 7.4.2 or newer"));
  EXPECT_THAT(refusal("PRAGMA application_id = " + made), HasSubstr("It needs the one that made it"));
}

/// A Master on what became of them, asked what the earlier one had been asked.
TEST_P(EarlierLayouts, RecogniseWhatWasSentBefore) {
  SqliteStore::BringToThisLayout(Data());
  auto store = std::make_unique<SqliteStore>(Data(), Database::Mode::k_ReadWrite);
  struct Sent {
    std::string m_Key, m_Request, m_Class, m_Result, m_Reason;
  };
  std::vector<Sent> all;
  for (Statement row(store->Connection().Handle(),
                     "SELECT client_key, request, class, result, reason FROM audit "
                     "WHERE length(request) = size AND result <> 'answered' ORDER BY sequence DESC");
       row.Step();)
    all.push_back({row.Text(0), row.Text(1), row.Text(2), row.Text(3), row.Text(4)});
  if (GetParam() == 1)
    return; // whose requests were not kept: Layout1WriterTest has them
  ASSERT_GT(all.size(), 30u);
  const auto count = [&] { return Scalar("SELECT count(*) FROM audit"); };
  const std::string before = count();
  std::promise<Batch> delivered;
  Writer writer(std::move(store), {.m_Run = "a later run",
                                   .m_Deliver = [&](Batch batch) { delivered.set_value(std::move(batch)); },
                                   .m_Commands = {"reboot", ""}});
  writer.Start();
  for (const Sent& sent : all) {
    wire::Envelope envelope;
    ASSERT_TRUE(envelope.ParseFromString(sent.m_Request));
    auto peer = std::make_shared<Peer>();
    peer->m_Key = sent.m_Key;
    peer->m_Role = Role::k_Administrator;
    delivered = {};
    auto batch = delivered.get_future();
    writer.Submit(MakeRequest(1, peer, envelope, sent.m_Request));
    const RequestResult result = batch.get().m_Results.at(0);
    EXPECT_FALSE(result.m_Operation);
    wire::FrameReader reader;
    reader.Feed(*result.m_Frames);
    const wire::Answer answer = reader.Next()->answer();
    const bool isDoneOnce = sent.m_Class == "ShutdownMsg" || sent.m_Class == "MachineMsg";
    EXPECT_EQ(answer.outcome(), sent.m_Result == "refused" ? wire::Answer::REFUSED
                                : isDoneOnce               ? wire::Answer::UNKNOWN
                                                           : wire::Answer::COMMITTED)
        << sent.m_Class << answer.reason();
    if (!isDoneOnce) {
      EXPECT_EQ(answer.reason(), sent.m_Reason);
    }
  }
  EXPECT_EQ(count(), before);
}

} // namespace
} // namespace brenic::master
