// How the Master ends, and what it does for the machine.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "brenic/SystemMessages.h"
#include "farm/Samples.h"
#include "rlib/File.h"
#include "serve/TestFarm.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

shared_ptr<MachineMsg> Machine(int command) {
  return Make<MachineMsg>([&](auto& message) { message.m_Command = command; });
}

TEST(Shutdown, IsAnsweredThenSentToEverybodyThenEndsTheMasterWith0) {
  TestFarm farm;
  farm.Serve();
  TestClient watcher = farm.Join();
  TestClient client = farm.Join();
  client.Request(*MessageFactory::Create<ShutdownMsg>());
  const auto answer = client.Receive();
  ASSERT_TRUE(answer && answer->has_answer());
  EXPECT_EQ(answer->answer().outcome(), wire::Answer::COMMITTED);
  EXPECT_TRUE(client.ReceiveOnly(wire::Frame::kMessage).message().has_shutdown());
  EXPECT_TRUE(watcher.ReceiveOnly(wire::Frame::kMessage).message().has_shutdown());
  EXPECT_EQ(watcher.Ask(*SetOption("a", "1")).outcome(), wire::Answer::COMMITTED) << "it goes on answering";
  EXPECT_THROW(farm.Connect(), std::runtime_error) << "it accepts no more connections";
  client.Close();
  watcher.Close();
  EXPECT_EQ(farm.Wait(), 0);
  EXPECT_EQ(farm.State()["options"]["a"], "1");
}

TEST(Shutdown, DoesNotWaitForeverForAClientThatStays) {
  TestFarm farm;
  farm.Serve();
  TestClient client = farm.Join();
  EXPECT_EQ(client.Ask(*MessageFactory::Create<ShutdownMsg>()).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(client.ReceiveOnly(wire::Frame::kGoodbye).goodbye().reason(), wire::Goodbye::ENDING);
  EXPECT_EQ(farm.Wait(), 0);
}

TEST(Shutdown, IsOfUnknownOutcomeForAMasterThatWasStartedAnew) {
  TestFarm farm;
  farm.Serve();
  const auto shutdown = MessageFactory::Create<ShutdownMsg>();
  {
    TestClient client = farm.Join();
    client.Ask(*shutdown);
  }
  EXPECT_EQ(farm.Wait(), 0);
  farm.Serve();
  TestClient client = farm.Join();
  EXPECT_EQ(client.Ask(*shutdown).outcome(), wire::Answer::UNKNOWN);
  EXPECT_EQ(client.Ask(*SetOption("a", "1")).outcome(), wire::Answer::COMMITTED) << "it goes on serving";
}

TEST(Signals, EndTheMasterCleanly) {
  for (const int signal : {SIGTERM, SIGINT}) {
    TestFarm farm;
    farm.Serve();
    TestClient client = farm.Join();
    farm.Signal(signal);
    EXPECT_EQ(client.ReceiveOnly(wire::Frame::kGoodbye).goodbye().reason(), wire::Goodbye::ENDING);
    EXPECT_EQ(farm.Wait(), 0);
    EXPECT_FALSE(rlib::File::Exists(farm.Socket())) << "the socket file is removed";
  }
}

TEST(Signals, LetTheMasterAnswerWhatItHasTaken) {
  TestFarm farm;
  farm.Serve();
  TestClient client = farm.Join();
  for (int i = 0; i < 200; ++i)
    client.Request(*SetOption("a", String(std::to_string(i))));
  client.NextAnswer();
  farm.Signal(SIGTERM);
  size_t answered = 1;
  for (bool ended = false; !ended;) {
    const auto frame = client.Receive();
    ASSERT_TRUE(frame) << "a Goodbye comes last";
    ended = frame->has_goodbye();
    answered += frame->has_answer();
  }
  EXPECT_EQ(farm.Wait(), 0);
  EXPECT_EQ(farm.Audit().size(), answered);
}

TEST(LocalSocket, LeftBehindByAKillIsReplaced) {
  TestFarm farm;
  farm.Serve();
  farm.Signal(SIGKILL);
  farm.Wait();
  EXPECT_TRUE(rlib::File::Exists(farm.Socket()));
  farm.Serve();
  EXPECT_EQ(farm.Join().Ask(*SetOption("a", "1")).outcome(), wire::Answer::COMMITTED);
}

TEST(LocalSocket, ThatIsServedIsNotTaken) {
  TestFarm farm, other;
  farm.Serve();
  const Ended ended =
      RunMaster({"serve", "--data-dir", other.Data(), "--listen", "127.0.0.1:0", "--socket", farm.Socket()});
  EXPECT_EQ(ended.m_Status, 1);
  EXPECT_THAT(ended.m_Errors, HasSubstr("Another process serves the local socket"));
}

TEST(MachineCommand, RunsOnceTheAskerIsGone) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  TestFarm farm("RebootCommand = echo rebooted > " + folder / "fifo" + "\n");
  farm.Serve();
  TestClient client = farm.Join();
  EXPECT_EQ(client.Ask(*Machine(MachineMsg::k_Reboot)).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(client.Ask(*SetOption("a", "1")).outcome(), wire::Answer::COMMITTED) << "it goes on answering";
  client.Close();
  EXPECT_EQ(ReadTextFile(folder / "fifo"), "rebooted\n"); // waits for the writer
  EXPECT_EQ(farm.Join().Ask(*SetOption("a", "2")).outcome(), wire::Answer::COMMITTED);
}

TEST(MachineCommand, RunsAlsoWhenTheAskerStays) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  TestFarm farm("ShutdownCommand = echo down > " + folder / "fifo" + "\n");
  farm.Serve();
  TestClient client = farm.Join();
  EXPECT_EQ(client.Ask(*Machine(MachineMsg::k_Shutdown)).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(ReadTextFile(folder / "fifo"), "down\n");
}

TEST(MachineCommand, IsRefusedWhereItIsNotConfigured) {
  TestFarm farm;
  farm.Serve();
  TestClient client = farm.Join();
  const wire::Answer answer = client.Ask(*Machine(MachineMsg::k_Shutdown));
  EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(answer.reason(), HasSubstr("ShutdownCommand"));
}

} // namespace
} // namespace brenic::master
