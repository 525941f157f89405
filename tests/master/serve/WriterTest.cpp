#include "brenic/SystemMessages.h"
#include "manage/AuditFields.h"
#include "serve/WriterFixture.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

TEST_F(WriterTest, CommitsTogetherWhatArrivedTogether) {
  for (int i = 0; i < 100; ++i)
    Submit(Set(fmt::format("option{}", i), "1"));
  m_Writer->Start();
  const auto results = Finish();
  EXPECT_EQ(m_Batches.size(), 1u);
  for (const RequestResult& result : results)
    EXPECT_EQ(Read(result).m_Answer.outcome(), wire::Answer::COMMITTED);
}

TEST_F(WriterTest, AReadSeesTheWritesBeforeItAndNotThoseBehind) {
  Submit(Set("a", "1"));
  const auto get = Get("a");
  Submit(get);
  Submit(Set("a", "2"));
  m_Writer->Start();
  const Told told = Read(Finish()[1]);
  EXPECT_EQ(told.m_Reply->m_Options.at("a"), "1");
  EXPECT_EQ(told.m_ReplyTo, get->m_ID);
}

TEST_F(WriterTest, AppliesAnIdentifierOnceAlsoAfterARestart) {
  m_Writer->Start();
  const auto first = Set("a", "1");
  EXPECT_EQ(Ask(first).m_Answer.outcome(), wire::Answer::COMMITTED);
  Ask(Set("a", "2"));
  EXPECT_EQ(Ask(first).m_Answer.outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(Ask(Get("a")).m_Reply->m_Options.at("a"), "2");
  Restart("second run");
  m_Writer->Start();
  EXPECT_EQ(Ask(first).m_Answer.outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(Ask(Get("a")).m_Reply->m_Options.at("a"), "2");
}

TEST_F(WriterTest, RefusesAnIdentifierWithOtherContents) {
  m_Writer->Start();
  const auto first = Set("a", "1");
  Ask(first);
  const auto second = Set("a", "2");
  second->m_ID = first->m_ID;
  const Told told = Ask(second);
  EXPECT_EQ(told.m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(told.m_Answer.reason(), "Its identifier was already used for another request");
  EXPECT_EQ(Ask(second, {}, "02").m_Answer.outcome(), wire::Answer::COMMITTED)
      << "another client's identifier";
}

TEST_F(WriterTest, RefusesAgainWhatItRefused) {
  m_Writer->Start();
  const auto bad = Set("", "1");
  const Told first = Ask(bad);
  const Told again = Ask(bad);
  EXPECT_EQ(again.m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(again.m_Answer.reason(), first.m_Answer.reason());
}

TEST_F(WriterTest, CarriesOutAnOperationOnce) {
  m_Writer->Start();
  const auto shutdown = MessageFactory::Create<ShutdownMsg>();
  Submit(shutdown);
  EXPECT_TRUE(Finish().back().m_Operation);
  Submit(shutdown);
  EXPECT_FALSE(Finish().back().m_Operation);
  EXPECT_EQ(Read(Finish().back()).m_Answer.outcome(), wire::Answer::COMMITTED);
}

TEST_F(WriterTest, DoesNotKnowTheOutcomeOfAnOperationOfAnEarlierRun) {
  m_Writer->Start();
  const auto shutdown = MessageFactory::Create<ShutdownMsg>();
  const auto machine = Make<MachineMsg>([](auto& m) { m.m_Command = MachineMsg::k_Reboot; });
  const auto refused = Make<MachineMsg>([](auto& m) { m.m_Command = MachineMsg::k_Shutdown; });
  const auto dump = MessageFactory::Create<LogDumpMsg>();
  for (const shared_ptr<Message>& message : {shared_ptr<Message>(shutdown), shared_ptr<Message>(machine),
                                             shared_ptr<Message>(refused), shared_ptr<Message>(dump)})
    Ask(message);
  Restart("second run");
  m_Writer->Start();
  EXPECT_EQ(Ask(shutdown).m_Answer.outcome(), wire::Answer::UNKNOWN);
  EXPECT_EQ(Ask(machine).m_Answer.outcome(), wire::Answer::UNKNOWN);
  EXPECT_EQ(Ask(refused).m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(Ask(dump).m_Answer.outcome(), wire::Answer::COMMITTED);
  const auto results = Finish();
  ASSERT_EQ(results.size(), 8u);
  for (size_t i = 4; i < results.size(); ++i)
    EXPECT_FALSE(results[i].m_Operation);
}

TEST_F(WriterTest, RefusesComponents) {
  m_Writer->Start();
  const Told told = Ask(Get("a"), {}, "02", Role::k_Component);
  EXPECT_EQ(told.m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_THAT(told.m_Answer.reason(), testing::HasSubstr("only an administrator"));
  EXPECT_FALSE(told.m_Reply);
}

TEST_F(WriterTest, RefusesAStaleBasisAndChangesNothing) {
  m_Writer->Start();
  Ask(Set(o_UserLimits, "ann=1;"));
  EXPECT_EQ(Ask(Set(o_UserLimits, "bob=1;"), Sha256("")).m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(Ask(Get(o_UserLimits)).m_Reply->m_Options.at(o_UserLimits), "ann=1;");
  EXPECT_EQ(Ask(Set(o_UserLimits, "bob=1;"), Sha256("ann=1;")).m_Answer.outcome(), wire::Answer::COMMITTED);
}

TEST_F(WriterTest, OfTwoWritesWithTheSameBasisInOneBatchTheSecondIsRefused) {
  Submit(Set(o_UserLimits, "ann=1;"), Sha256(""));
  Submit(Set(o_UserLimits, "bob=1;"), Sha256(""));
  m_Writer->Start();
  const auto results = Finish();
  EXPECT_EQ(Read(results[0]).m_Answer.outcome(), wire::Answer::COMMITTED);
  EXPECT_EQ(Read(results[1]).m_Answer.outcome(), wire::Answer::REFUSED);
}

TEST_F(WriterTest, RecordsRefusalsInTheAuditTrail) {
  m_Writer->Start();
  Ask(Set("", "1"));
  Ask(Set("a", "1"), {}, "02", Role::k_Component);
  std::vector<std::string> results;
  SqliteStore(m_Folder.Name(), Database::Mode::k_ReadOnly).ReadAudit(0, [&](const AuditRecord& record) {
    results.push_back(record.m_Result + (record.m_Reason.empty() ? "" : " with reason"));
  });
  EXPECT_THAT(results, testing::ElementsAre("refused with reason", "refused with reason"));
}

TEST_F(WriterTest, PublishesWhatConnectingClientsAreTold) {
  const auto before = m_Writer->FirstSnapshot();
  m_Writer->Start();
  Ask(Set("Message", "hi"));
  Ask(Set("DefaultIdleTimeout", "30"));
  Ask(Make<PathTranslationsMsg>([](auto& m) { m.m_Translations = {{{1, "/x"}}}; }));
  const auto after = m_Batches.back().m_Snapshot;
  EXPECT_EQ(after->m_Message, "hi");
  EXPECT_EQ(after->m_DefaultIdleTimeout, 30u);
  EXPECT_NE(*after->m_Translations, *before->m_Translations);
  EXPECT_EQ(after->m_Products, before->m_Products);
  EXPECT_TRUE(m_Batches.back().m_TranslationsChanged);
}

TEST_F(WriterTest, GivesEachBatchWhatItPublishesAndNotWhatCameLater) {
  m_Writer->Start();
  for (uint8_t number = 3; number != 6; ++number) {
    Ask(Make<ProductMsg>([&](auto& m) {
      m.m_Product = boost::const_pointer_cast<Product>(MakeProduct(number, fmt::format("Own {}", number)));
    }));
  }
  ASSERT_EQ(m_Batches.size(), 3u);
  for (size_t i = 0; i != 3; ++i)
    EXPECT_EQ(m_Batches[i].m_Snapshot->m_Products->m_Products.size(), 3 + i);
}

TEST_F(WriterTest, ReadsTheDefaultProductsAgainForAReset) {
  const TempFolder products;
  m_Products = products.Name();
  Restart("second run");
  m_Writer->Start();
  WriteTextFile(products / "alpha.json", MakeProduct(1, "Alpha", {"a"})->Document());
  WriteTextFile(products / "gamma.json", MakeProduct(3, "Gamma")->Document());
  WriteTextFile(products / "broken.json", "{");
  EXPECT_EQ(Ask(RemoveProduct(UID::Null)).m_Answer.outcome(), wire::Answer::COMMITTED);
  const Batch& batch = m_Batches.back();
  EXPECT_TRUE(batch.m_ProductsChanged);
  EXPECT_FALSE(batch.m_ChangedProducts) << "clients are told all of them";
  ProductMap shown = batch.m_Snapshot->m_Products->m_Products;
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_EQ(shown.at(Type(3))->Name(), "Gamma");
  // Before this process or the next one reads the folder again.
  SqliteStore stored(m_Folder.Name(), Database::Mode::k_ReadOnly);
  shown = stored.LoadFarm().m_Products.Effective();
  EXPECT_EQ(shown.size(), 2u);
  EXPECT_TRUE(shown.contains(Type(1)) && shown.contains(Type(3)));
}

TEST_F(WriterTest, RefusesAResetWhenTheFolderCannotBeRead) {
  m_Products = m_Folder / "gone";
  Restart("second run");
  m_Writer->Start();
  Ask(InstallProduct(MakeProduct(3, "Gamma")));
  const Told told = Ask(RemoveProduct(UID::Null));
  EXPECT_EQ(told.m_Answer.outcome(), wire::Answer::REFUSED);
  EXPECT_EQ(told.m_Answer.reason(), "Cannot read the folder of products '" + (m_Folder / "gone") +
                                        "': No such file or directory; nothing was changed");
  EXPECT_EQ(m_Batches.back().m_Snapshot->m_Products->m_Products.size(), 3u);
}

TEST_F(WriterTest, RecordsALargeRefusedRequestByDigestAndSize) {
  m_Writer->Start();
  Ask(Make<SetMasterOptionsMsg>([](auto& message) {
    message.m_Section = "nothing";
    for (int i = 0; i < 2000; ++i)
      message.m_Options[fmt::format("option{}", i)] = String(std::string(40, 'x'));
  }));
  std::string fields;
  SqliteStore(m_Folder.Name(), Database::Mode::k_ReadOnly).ReadAudit(0, [&](const AuditRecord& record) {
    EXPECT_EQ(record.m_Class, "SetMasterOptionsMsg");
    fields = ToText(RequestFields(record));
  });
  EXPECT_THAT(fields, testing::AllOf(testing::HasSubstr("\"digest\":\""), testing::HasSubstr("\"size\":")));
  EXPECT_LT(fields.size(), 200u);
}

TEST_F(WriterTest, EndsARoundWithLongRepliesAndWaitsUntilTheyAreTaken) {
  constexpr size_t k_Value = 16 * 1024 * 1024, k_Reads = 10;
  Submit(Set(o_UserLimits, String(std::string(k_Value, 'x'))));
  for (size_t i = 0; i < k_Reads; ++i)
    Submit(Get(o_UserLimits));
  m_Writer->Start();
  size_t answered = 0;
  for (size_t batch = 0; answered < 1 + k_Reads; ++batch) {
    std::unique_lock lock(m_Mutex);
    m_Arrived.wait(lock, [&] { return m_Batches.size() > batch; });
    EXPECT_EQ(m_Batches.size(), batch + 1);
    answered += m_Batches[batch].m_Results.size();
    EXPECT_LE(m_Batches[batch].Bytes(), Writer::k_MaxReplies + k_Value + 1024);
    m_Writer->Taken(m_Batches[batch]);
  }
}

} // namespace
} // namespace brenic::master
