#include <atomic>
#include <thread>

#include <gmock/gmock.h>

#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/SystemMessages.h"
#include "farm/Samples.h"
#include "serve/TestFarm.h"
#include "store/SqliteStore.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class ServerTest : public testing::Test {
protected:
  ServerTest() { m_Farm.Serve(); }
  TestFarm m_Farm;
};

TEST_F(ServerTest, WelcomesWithInfoTranslationsProductsAndTheirEnd) {
  TestClient client = m_Farm.Connect();
  const auto frames = client.Greet();
  ASSERT_EQ(frames.size(), 4u);
  EXPECT_EQ(frames[0].welcome().name(), "Farm");
  EXPECT_EQ(frames[0].welcome().protocol_version(), wire::k_ProtocolVersion);
  EXPECT_TRUE(frames[1].message().has_path_translations());
  EXPECT_EQ(frames[2].products().products_size(), 6);
  EXPECT_EQ(frames[3].message().end_products().digest().size(), 64u);
}

TEST_F(ServerTest, DoesNotSendProductsThatTheClientHolds) {
  TestClient first = m_Farm.Connect();
  const std::string digest = first.Greet().back().message().end_products().digest();
  TestClient second = m_Farm.Connect();
  const auto frames = second.Greet(digest);
  EXPECT_TRUE(frames[2].products().unchanged());
  EXPECT_EQ(frames[2].products().products_size(), 0);
  EXPECT_EQ(frames.back().message().end_products().digest(), digest);
}

TEST_F(ServerTest, NamesTheListThatAClientWasGivenAndNoLaterOne) {
  constexpr uint8_t k_Products = 125;
  TestClient watcher = m_Farm.Join(), installer = m_Farm.Join();
  // Handshakes keep the thread busy that tells what the writer did, so that the writer is ahead of it.
  std::atomic<bool> enough = false;
  std::thread visitors([&] {
    while (!enough)
      m_Farm.ConnectTls(m_Farm.Data() + "/clients/admin").Greet();
  });
  for (uint8_t number = 1; number <= k_Products; ++number) {
    installer.Request(*InstallProduct(MakeProduct(number, fmt::format("Own {}", number))));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::map<std::string, std::set<std::string>> lists; // types by digest
  std::set<std::string> given;
  std::optional<std::set<std::string>> whole; // sent anew
  while (given.size() != k_Products) {
    const auto frame = watcher.Receive();
    if (!frame) {
      ADD_FAILURE() << "the connection ended";
      break;
    }
    for (const auto& product : frame->products().products()) {
      if (!whole)
        whole.emplace();
      if (product.name().rfind("Own", 0) == 0)
        whole->insert(product.type());
    }
    if (frame->message().has_product())
      given.insert(frame->message().product().type());
    if (frame->message().has_end_products()) {
      if (whole)
        given = *std::exchange(whole, std::nullopt);
      const std::string& digest = frame->message().end_products().digest();
      EXPECT_EQ(lists.emplace(digest, given).first->second, given) << given.size();
    }
  }
  enough = true;
  visitors.join();
  for (uint8_t number = 1; number <= k_Products; ++number)
    EXPECT_EQ(installer.NextAnswer().outcome(), wire::Answer::COMMITTED);
}

TEST_F(ServerTest, DoesNotTellOfAProductThatIsInstalledAgainUnchanged) {
  TestClient watcher = m_Farm.Join(), installer = m_Farm.Join();
  for (const uint8_t number : {1, 1, 1, 2})
    EXPECT_EQ(installer.Ask(*InstallProduct(MakeProduct(number, fmt::format("Own {}", number)))).outcome(),
              wire::Answer::COMMITTED);
  std::vector<std::string> told;
  while (told.size() < 2) {
    const wire::Envelope message = watcher.ReceiveOnly(wire::Frame::kMessage).message();
    if (message.has_product())
      told.push_back(message.product().name());
  }
  EXPECT_EQ(told, (std::vector<std::string>{"Own 1", "Own 2"}));
}

TEST_F(ServerTest, AnswersInTheOrderOfTheRequests) {
  TestClient client = m_Farm.Join();
  std::vector<UID> asked, answered;
  for (int i = 0; i < 300; ++i) {
    const auto message = SetOption("a", String(std::to_string(i)));
    asked.push_back(message->m_ID);
    client.Request(*message);
  }
  for (size_t i = 0; i < asked.size(); ++i)
    answered.push_back(wire::Identifier(client.NextAnswer().id()));
  EXPECT_EQ(answered, asked);
  EXPECT_EQ(m_Farm.State()["options"]["a"], "299");
}

TEST_F(ServerTest, AgreesOnKeysInGroupsThatCostItLittle) {
  const std::string credentials = m_Farm.Data() + "/clients/admin";
  for (const char* group : {"X25519", "P-256", "P-384"})
    EXPECT_EQ(TestClient::Tls(m_Farm.Port(), credentials, group).Greet().size(), 4u) << group;
  for (const char* group : {"ffdhe2048", "ffdhe8192", "P-521", "X448"})
    EXPECT_THROW(TestClient::Tls(m_Farm.Port(), credentials, group), std::runtime_error) << group;
}

TEST_F(ServerTest, SendsItsOwnCertificateAlone) {
  EXPECT_EQ(m_Farm.ConnectTls(m_Farm.Data() + "/clients/admin").CertificatesSent(), 1);
}

TEST_F(ServerTest, WelcomesWithEverySettingAtItsLargest) {
  constexpr size_t k_OldClientsTake = 64 * 1024;
  TestClient client = m_Farm.Join();
  EXPECT_EQ(client.Ask(*SetOption(o_Message, String(std::string(k_MaxMessage, 'x')))).outcome(),
            wire::Answer::COMMITTED);
  EXPECT_EQ(client.Ask(*SetOption(o_Message, String(std::string(k_MaxMessage + 1, 'x')))).outcome(),
            wire::Answer::REFUSED);
  EXPECT_EQ(client.Ask(*SetOption(o_DefaultIdleTimeout, "2147483647")).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(client.Ask(*SetOption(o_UserLimits, String(std::string(k_MaxUserLimits, 'x')))).outcome(),
            wire::Answer::COMMITTED);
  const wire::Frame welcome = m_Farm.Connect().Greet().front();
  EXPECT_EQ(welcome.welcome().message().size(), k_MaxMessage);
  EXPECT_LT(welcome.ByteSizeLong(), k_OldClientsTake);
}

TEST_F(ServerTest, CutsALongerMessageThatWasStoredOnceBetweenCharacters) {
  m_Farm.Signal(SIGTERM);
  ASSERT_EQ(m_Farm.Wait(), 0);
  const std::string stored = "x" + [] {
    std::string text;
    for (size_t i = 0; i != 21'000; ++i)
      text += "\xe5\xa4\x9c";
    return text;
  }();
  Statement(Database(SqliteStore::File(m_Farm.Data()), Database::Mode::k_ReadWrite).Handle(),
            "INSERT INTO option VALUES (?,?,?)")
      .Run(UID::Null, o_Message, stored);
  m_Farm.Serve();
  const std::string told = m_Farm.Connect().Greet().front().welcome().message();
  EXPECT_EQ(told.size(), k_MaxMessage - 1); // 1 + 3 * 10922
  EXPECT_TRUE(stored.starts_with(told));
}

TEST_F(ServerTest, LetsInTheFirstAdministratorOverTls) {
  TestClient client = m_Farm.ConnectTls(m_Farm.Data() + "/clients/admin");
  client.Greet();
  EXPECT_EQ(client.Ask(*SetOption("a", "1")).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(m_Farm.Audit()[0]["client"]["name"], "admin");
  EXPECT_EQ(m_Farm.Audit()[0]["client"]["role"], "administrator");
}

TEST_F(ServerTest, KnowsClientsThatWereIssuedWhileItServes) {
  TestClient client = m_Farm.ConnectTls(m_Farm.Issue("node", "component"));
  EXPECT_EQ(client.Greet().size(), 4u);
  const wire::Answer answer = client.Ask(*SetOption("a", "1"));
  EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(answer.reason(), HasSubstr("'node' is a component"));
  EXPECT_TRUE(m_Farm.State()["options"].empty());
}

TEST_F(ServerTest, SaysThatACertificateHasEnded) {
  TestClient client = m_Farm.ConnectTls(m_Farm.Issue("old", "administrator", {"--valid-days", "-1"}));
  const auto frames = client.Greet();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].goodbye().reason(), wire::Goodbye::REJECTED);
  EXPECT_THAT(frames[0].goodbye().text(), HasSubstr("The certificate of 'old' ended on"));
}

TEST_F(ServerTest, RequestsAboutCertificatesAreForTheManagementSocketAlone) {
  TestClient client = m_Farm.Join();
  auto message = MessageFactory::Create<RevokeClientMsg>();
  message->m_Client = "admin";
  const wire::Answer answer = client.Ask(*message);
  EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(answer.reason(), HasSubstr("only decided on the Master's own machine"));
  TestClient manager = TestClient::Local(m_Farm.Data() + "/manage.sock");
  manager.SendHello();
  EXPECT_TRUE(manager.Receive()->has_welcome());
  message->m_ID = UID(true);
  EXPECT_EQ(manager.Ask(*message).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(m_Farm.ConnectTls(m_Farm.Data() + "/clients/admin").Greet().back().goodbye().reason(),
            wire::Goodbye::REJECTED);
}

TEST_F(ServerTest, SaysWhyItRejectsAnUnknownSerialNumber) {
  const std::string credentials = m_Farm.Issue("node", "component");
  TestFarm::Forget(m_Farm.Data(), "node");
  TestClient client = m_Farm.ConnectTls(credentials);
  const auto frames = client.Greet();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].goodbye().reason(), wire::Goodbye::REJECTED);
  EXPECT_THAT(frames[0].goodbye().text(), HasSubstr("does not know the certificate"));
}

TEST_F(ServerTest, RefusesAStaleBasis) {
  const auto write = [] { return SetOption(o_UserLimits, "ann=1;"); };
  TestClient client = m_Farm.Join();
  EXPECT_EQ(client.Ask(*write(), Sha256("")).outcome(), wire::Answer::COMMITTED);
  const wire::Answer answer = client.Ask(*write(), Sha256(""));
  EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(answer.reason(), HasSubstr("can be repeated"));
}

TEST_F(ServerTest, PushesChangedTranslationsToEverybody) {
  TestClient watcher = m_Farm.Join();
  TestClient client = m_Farm.Join();
  const auto message = Make<PathTranslationsMsg>([](auto& m) { m.m_Translations = {{{1, "/x"}}}; });
  EXPECT_EQ(client.Ask(*message).outcome(), wire::Answer::COMMITTED);
  for (TestClient* each : {&watcher, &client}) {
    const wire::Frame pushed = each->ReceiveOnly(wire::Frame::kMessage);
    ASSERT_EQ(pushed.message().path_translations().translations_size(), 1);
    EXPECT_EQ(pushed.message().path_translations().translations(0).roots(0).root(), "/x");
    EXPECT_TRUE(pushed.message().reply_to().empty());
  }
}

TEST_F(ServerTest, SendsALogDumpOnToTheOthers) {
  TestClient watcher = m_Farm.Join();
  TestClient client = m_Farm.Join();
  EXPECT_EQ(client.Ask(*MessageFactory::Create<LogDumpMsg>()).outcome(), wire::Answer::COMMITTED);
  EXPECT_TRUE(watcher.ReceiveOnly(wire::Frame::kMessage).message().has_log_dump());
  // Had the asker been sent it, it would come before this answer.
  client.Request(*SetOption("a", "1"));
  EXPECT_TRUE(client.Receive()->has_answer());
}

TEST_F(ServerTest, RefusesARequestThatItDoesNotKnow) {
  TestClient client = m_Farm.Join();
  wire::Frame frame;
  frame.mutable_message()->set_id(wire::IdentifierBytes(UID(true)));
  client.Send(frame);
  const wire::Answer answer = client.NextAnswer();
  EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(answer.reason(), "This Master does not know this kind of request");
}

TEST_F(ServerTest, RemembersAcrossAKillWhatItHasAnswered) {
  TestClient client = m_Farm.Join();
  const auto message = SetOption("a", "1");
  EXPECT_EQ(client.Ask(*message).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(client.Ask(*SetOption("a", "2")).outcome(), wire::Answer::COMMITTED);
  m_Farm.Signal(SIGKILL);
  m_Farm.Wait();
  EXPECT_EQ(m_Farm.State()["options"]["a"], "2");
  m_Farm.Serve();
  TestClient again = m_Farm.Join();
  EXPECT_EQ(again.Ask(*message).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(m_Farm.State()["options"]["a"], "2");
  EXPECT_EQ(m_Farm.Audit().size(), 2u);
}

TEST_F(ServerTest, HoldsAfterAKillUnderLoadExactlyWhatItsAuditTrailSays) {
  TestClient client = m_Farm.Join();
  for (int i = 0; i < 500; ++i)
    client.Request(*SetOption("a", String(std::to_string(i))));
  for (int i = 0; i < 50; ++i)
    client.NextAnswer();
  m_Farm.Signal(SIGKILL);
  m_Farm.Wait();
  const auto audit = m_Farm.Audit();
  EXPECT_GE(audit.size(), 50u);
  EXPECT_EQ(m_Farm.State()["options"]["a"], audit.back()["message"]["m_Options"]["a"]);
  EXPECT_EQ(m_Farm.State()["options"]["a"], std::to_string(audit.size() - 1));
}

TEST_F(ServerTest, IsTheOnlyOneOnItsFolder) {
  const Ended second = RunMaster({"serve", "--data-dir", m_Farm.Data(), "--listen", "127.0.0.1:0"});
  EXPECT_EQ(second.m_Status, 1);
  EXPECT_EQ(second.m_Errors, "brenic-master: Another brenic-master already serves '" + m_Farm.Data() + "'\n");
  EXPECT_EQ(second.m_Output, "");
}

} // namespace
} // namespace brenic::master
