#include "serve/RefusalTally.h"

#include <gmock/gmock.h>

namespace brenic::master {
namespace {

Request Refused(const std::string& key) {
  auto peer = std::make_shared<Peer>();
  peer->m_Key = key;
  Request request;
  request.m_Session = 5;
  request.m_Peer = std::move(peer);
  request.m_Id = UID(true);
  request.m_Refusal = "no";
  return request;
}

TEST(RefusalTally, RecordsTheFirstAndThenOneAMinuteForEachCertificate) {
  RefusalTally tally;
  EXPECT_TRUE(tally.IsEmpty());
  for (const char* key : {"01", "02"}) {
    for (int i = 0; i < 3; ++i) {
      Request request = Refused(key);
      tally.Take(request);
      EXPECT_EQ(request.m_IsRecorded, i == 0) << key << i;
    }
  }
  std::vector<Request> records = tally.Minute();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].m_Peer->m_Key, "01");
  EXPECT_EQ(*records[0].m_Refusal, "no (stands for 2 requests of this client)");
  EXPECT_EQ(records[0].m_Session, 0u);
  EXPECT_TRUE(records[0].m_IsRecorded);
  EXPECT_NE(records[0].m_Id, records[1].m_Id);

  Request next = Refused("01");
  tally.Take(next);
  EXPECT_FALSE(next.m_IsRecorded);
  records = tally.Minute();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(*records[0].m_Refusal, "no (stands for 1 requests of this client)");
  EXPECT_TRUE(tally.Minute().empty());
  EXPECT_TRUE(tally.IsEmpty());
}

} // namespace
} // namespace brenic::master
