// What is told of a database that was damaged, and what mends it.
#include <gmock/gmock.h>

#include "farm/Samples.h"
#include "manage/AuditFields.h"
#include "store/Defaults.h"
#include "store/StoreFixture.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

class Damage : public StoreFixture {
protected:
  Damage() { SetDefaults(*m_Store, SampleFarm().m_Products.Defaults()); }
  void Execute(const char* sql) { m_Store->Connection().Execute(sql); }

  /// Commits and records the request.
  void Do(const shared_ptr<Message>& message, bool keepRequest = false) {
    const auto change = std::make_shared<const Change>(ChangeOf(m_Store->LoadFarm(), *message));
    wire::Envelope envelope;
    wire::ToWire(*message, envelope);
    AuditRecord record;
    record.m_ClientKey = "01";
    record.m_MessageId = message->m_ID;
    record.m_Class = message->ClassName();
    record.m_Digest = Sha256(envelope.SerializeAsString());
    record.m_Size = envelope.SerializeAsString().size();
    if (keepRequest)
      record.m_Request = std::make_shared<const std::string>(envelope.SerializeAsString());
    record.m_Result = "committed";
    record.m_Run = "run";
    record.m_Change = change;
    m_Store->Begin();
    m_Store->Apply(*change);
    m_Store->Record(record);
    m_Store->Commit();
  }
  AuditRecord Last() {
    AuditRecord last;
    m_Store->ReadAudit(0, [&](const AuditRecord& record) { last = record; });
    return last;
  }
  /// Why the last record's change is not shown.
  std::string WhyNoChange() {
    try {
      (void)Last().LoadedChange();
    } catch (const StoreFailure& failure) {
      return failure.what();
    }
    return {};
  }
  std::string Document(const UID& type) {
    Open();
    return m_Store->LoadFarm().m_Products.Find(type)->Document();
  }
};

TEST_F(Damage, OfAnInstalledProductIsMendedByInstallingItAgain) {
  const auto own = MakeProduct(3, "Own");
  Do(InstallProduct(own));
  Execute("UPDATE document SET document = replace(document, 'Own', 'Owl')");
  ASSERT_NE(Document(Type(3)), own->Document());
  Do(InstallProduct(own));
  EXPECT_EQ(Document(Type(3)), own->Document());
}

TEST_F(Damage, OfADefaultProductIsMendedAtTheNextStart) {
  const ProductMap defaults = SampleFarm().m_Products.Defaults();
  Execute("UPDATE document SET document = replace(document, 'Alpha', 'Alphb')");
  ASSERT_NE(Document(Type(1)), defaults.at(Type(1))->Document());
  SetDefaults(*m_Store, defaults);
  EXPECT_EQ(Document(Type(1)), defaults.at(Type(1))->Document());
}

TEST_F(Damage, OfADocumentIsNotShownAsWhatWasInstalled) {
  Do(InstallProduct(MakeProduct(3, "Own")));
  EXPECT_EQ(WhyNoChange(), "");
  EXPECT_EQ(RequestFields(Last())["product"]["name"], "Own");
  Execute("UPDATE document SET document = replace(document, 'Own', 'Owl')");
  EXPECT_THAT(WhyNoChange(), HasSubstr("its document was damaged"));
  EXPECT_FALSE(RequestFields(Last()).contains("product"));
}

TEST_F(Damage, ThatTookADocumentAwayIsToldAsThat) {
  Do(InstallProduct(MakeProduct(3, "Own")));
  Execute("DELETE FROM document WHERE document LIKE '%Own%'");
  EXPECT_THAT(WhyNoChange(), HasSubstr("its document is missing"));
  try {
    (void)m_Store->LoadFarm();
    ADD_FAILURE();
  } catch (const StoreFailure& failure) {
    EXPECT_EQ(failure.what(), "The product " + Type(3).ToString().str() +
                                  " in the database cannot be used: its document is missing");
  }
}

TEST_F(Damage, ThatLeavesNothingOfAChangeIsNoEmptyChange) {
  for (const char* change : {"x''", "x'fa0703616263'"}) { // the second holds one unknown field
    Do(OptionMessage("a", change));
    Execute(("UPDATE audit SET change = " + std::string(change)).c_str());
    EXPECT_THAT(WhyNoChange(), HasSubstr("holds nothing that this program knows"));
  }
}

TEST_F(Damage, OfARequestIsFoundByItsDigest) {
  Do(OptionMessage("a", "1"), true);
  ASSERT_EQ(RequestFields(Last())["m_Options"], (Json{{"a", "1"}}));
  Execute("UPDATE audit SET request = CAST(replace(request, '1', '2') AS BLOB)");
  const Json fields = RequestFields(Last());
  EXPECT_EQ(fields, (Json{{"digest", Hex(Last().m_Digest)}, {"size", Last().m_Size}}));
  EXPECT_TRUE(Last().LoadedChange());
}

} // namespace
} // namespace brenic::master
