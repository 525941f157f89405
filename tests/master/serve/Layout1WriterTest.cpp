// A Master on what became of a database of layout 1.
#include <future>

#include <gtest/gtest.h>

#include "brenic/wire/Hex.h"
#include "farm/RandomRequests.h"
#include "serve/Writer.h"
#include "store/Layout1.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

class Layout1WriterTest : public Layout1Test {
protected:
  Layout1WriterTest() {
    SqliteStore::BringToThisLayout(Data());
    auto store = std::make_unique<SqliteStore>(Data(), Database::Mode::k_ReadWrite);
    for (const auto& [key, role] : std::map<std::string, Role>{{"uid:0", Role::k_Administrator}})
      m_Roles[key] = role;
    Statement client(store->Connection().Handle(), "SELECT serial, role FROM client");
    while (client.Step())
      m_Roles[client.Text(0)] = RoleOf(client.Text(1));
    m_Writer = std::make_unique<Writer>(
        std::move(store),
        WriterOptions{.m_Run = "a later run",
                      .m_Deliver = [this](Batch batch) { m_Batch.set_value(std::move(batch)); },
                      .m_Commands = {"reboot", "shutdown"}});
    m_Writer->Start();
  }

  wire::Answer Ask(const std::string& key, const std::string& bytes) {
    wire::Envelope envelope;
    EXPECT_TRUE(envelope.ParseFromString(bytes));
    auto peer = std::make_shared<Peer>();
    peer->m_Key = key;
    peer->m_Name = "worker-17"; // of the one component, whose refusals name it
    peer->m_Role = m_Roles.at(key);
    m_Batch = {};
    auto batch = m_Batch.get_future();
    m_Writer->Submit(MakeRequest(1, peer, envelope, bytes));
    const RequestResult result = batch.get().m_Results.at(0);
    EXPECT_FALSE(result.m_Operation);
    wire::FrameReader reader;
    reader.Feed(*result.m_Frames);
    const auto frame = reader.Next();
    EXPECT_TRUE(frame && frame->has_answer());
    return frame->answer();
  }
  /// The farm and the trail, as they are in the database.
  std::string Everything() const {
    SqliteStore store(Data(), Database::Mode::k_ReadOnly);
    return Describe(store.LoadFarm()) + store.Connection().Scalar("SELECT count(*) FROM audit");
  }

  static const char* Name(wire::Answer::Outcome outcome) {
    return outcome == wire::Answer::COMMITTED ? "committed"
           : outcome == wire::Answer::REFUSED ? "refused"
                                              : "unknown";
  }

  std::map<std::string, Role> m_Roles; // by client key
  std::promise<Batch> m_Batch;
  std::unique_ptr<Writer> m_Writer;
};

TEST_F(Layout1WriterTest, RecognisesWhatWasSentBefore) {
  const std::string before = Everything();
  const auto requests = nlohmann::json::parse(Kept("resend.json"));
  ASSERT_EQ(requests.size(), 17u);
  size_t encodedOtherwise = 0;
  for (int round = 0; round != 2; ++round) {
    for (const auto& request : requests) {
      const auto answer = Ask(request["client_key"], FromHex(request["envelope"].get<std::string>()));
      EXPECT_EQ(Name(answer.outcome()), request["answer"]) << request["sequence"];
      EXPECT_EQ(answer.reason(), request["answer_reason"]) << request["sequence"];
      encodedOtherwise += request["digest"] != request["digest_of_sent"];
    }
  }
  EXPECT_EQ(encodedOtherwise, 8u);
  EXPECT_EQ(Everything(), before);
}

TEST_F(Layout1WriterTest, RefusesAnIdentifierThatWasUsedForSomethingElse) {
  const std::string before = Everything();
  for (const auto& request : nlohmann::json::parse(Kept("resend.json"))) {
    const std::string bytes = FromHex(request["envelope"].get<std::string>());
    UID identifier;
    ASSERT_TRUE(identifier.FromString(request["message_id"].get<std::string>()));
    const std::string id = FromHex("0a10") + wire::IdentifierBytes(identifier);
    const std::string more = FromHex("4a03") + "new"; // a field that is not known
    for (const std::string& other : {bytes + more, id + FromHex("c20100"), id}) {
      if (other == bytes)
        continue;
      const auto answer = Ask(request["client_key"], other);
      EXPECT_EQ(answer.outcome(), wire::Answer::REFUSED) << request["sequence"];
      EXPECT_EQ(answer.reason(), "Its identifier was already used for another request")
          << request["sequence"];
    }
  }
  EXPECT_EQ(Everything(), before);
}

TEST_F(Layout1WriterTest, RecordsWhatIsNewInTheNewLayout) {
  wire::Envelope envelope;
  wire::ToWire(*OptionMessage("MAXJOBS", "7"), envelope);
  const std::string bytes =
      envelope.SerializeAsString() + FromHex("4a036e6577"); // as it came, not as encoded
  EXPECT_EQ(Ask("uid:0", bytes).outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(Ask("uid:0", bytes).outcome(), wire::Answer::COMMITTED);
  std::vector<AuditRecord> records;
  SqliteStore store(Data(), Database::Mode::k_ReadOnly);
  store.ReadAudit(0, [&](const AuditRecord& record) { records.push_back(record); });
  ASSERT_EQ(records.size(), 124u);
  for (size_t i = 0; i != 123; ++i)
    ASSERT_TRUE(records[i].IsOfLayout1() && !records[i].m_Request && !records[i].LoadedChange()) << i;
  const AuditRecord& last = records.back();
  EXPECT_EQ(last.m_Sequence, 124);
  EXPECT_FALSE(last.IsOfLayout1());
  EXPECT_EQ(last.m_Digest, Sha256(bytes));
  EXPECT_EQ(last.m_Size, bytes.size());
  ASSERT_TRUE(last.m_Request && last.LoadedChange());
  EXPECT_EQ(*last.m_Request, bytes);
  EXPECT_EQ(last.LoadedChange()->m_Options,
            (std::vector<OptionChange>{{UID::Null, "MaxJobs", {String("700"), String("7")}}}));
  EXPECT_EQ(store.LoadFarm().Option("MaxJobs"), "7");
  // Here the bytes are what counts: the same request in another order is another one.
  EXPECT_EQ(Ask("uid:0", FromHex("4a036e6577") + envelope.SerializeAsString()).outcome(),
            wire::Answer::REFUSED);
}

} // namespace
} // namespace brenic::master
