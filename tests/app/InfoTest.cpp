#include "scripted/SetwrightTest.h"
#include "scripted/Writes.h"

using namespace scripted;
using testing::ElementsAre;

namespace {

class InfoTest : public SetwrightTest {
protected:
  InfoTest() {
    auto& info = *m_Script.m_MasterInfo;
    EXPECT_TRUE(info.m_ID.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    info.m_Name = "farm one";
    info.m_Version = 0x0102002a;
    info.m_Released = rlib::Time(1769817600000); // 2026-01-31 00:00:00
    info.m_Started = rlib::Time(1769864645678);  // 2026-01-31 13:04:05.678
    info.m_DefaultIdleTimeout = 4000000000u;
    info.m_Message = "Down on Sunday";
  }
};

TEST_F(InfoTest, ShowsSevenLinesWithATabBehindEachLabel) {
  ReceiveProducts({"-Info"});
  EXPECT_EQ(m_Recorder.m_Out, "Master ID:\t12345678-9abc-def0-1234-56789abcdef0\n"
                              "Master Name:\tfarm one\n"
                              "Master Version:\t1.2.42\n"
                              "Master Released:\t2026-01-31\n"
                              "Master Started:\t2026-01-31 13:04:05\n"
                              "Default Idle Timeout:\t4000000000 minutes\n"
                              "Message:\tDown on Sunday\n");
  EXPECT_EQ(m_Recorder.m_Err, "");
}

TEST_F(InfoTest, IsShownBeforeAnythingIsQueued) {
  ReceiveProducts({"-Info", "-DumpLogs"});
  EXPECT_EQ(m_Recorder.m_Log.back(), "SYSTEM Queue Messages");
  EXPECT_EQ(m_Recorder.m_WrittenAtLastLine, m_Recorder.m_Out);
}

TEST_F(InfoTest, IsWrittenLineByLine) {
  const Writes writes = WritesOf(m_Recorder, [this] { ReceiveProducts({"-Info"}); });
  EXPECT_EQ(writes.m_Texts.size(), 7u);
  EXPECT_THAT(writes.m_Texts, testing::Each(testing::ContainsRegex("^[A-Za-z ]+:\t[^\n]*\n$")));
}

TEST_F(InfoTest, AsksForTheDescriptionAfreshForEachLine) {
  ReceiveProducts({"-Info"});
  EXPECT_EQ(m_Script.m_MasterInfoCalls, 7);
}

TEST_F(InfoTest, ValuesAreShownAsTheyAre) {
  m_Script.m_MasterInfo->m_Name = "%s%n 100%";
  m_Script.m_MasterInfo->m_Message = "";
  ReceiveProducts({"-Info"});
  EXPECT_THAT(m_Recorder.m_Out, testing::HasSubstr("Master Name:\t%s%n 100%\n"));
  EXPECT_TRUE(m_Recorder.m_Out.ends_with("Message:\t\n"));
}

TEST_F(InfoTest, IsShownOnceHoweverOftenItIsAskedFor) {
  ReceiveProducts({"-Info", "-info", "-INFO"});
  EXPECT_EQ(m_Script.m_MasterInfoCalls, 7);
}

TEST_F(InfoTest, IsNotShownUnasked) {
  ReceiveProducts({"-DumpLogs"});
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_EQ(m_Script.m_MasterInfoCalls, 0);
}

TEST_F(InfoTest, AloneEndsWithZeroWithoutAPassAfterTheProducts) {
  EXPECT_EQ(Run({"-Info"}), 0);
  EXPECT_TRUE(m_Recorder.m_Out.starts_with("Master ID:\t"));
  EXPECT_THAT(m_Script.m_Events, ElementsAre("SetClientInfo", "Startup", "Execute",
                                             "SYSTEM Received products: Parsing command line",
                                             "SYSTEM Queue Messages", "SYSTEM Wait For Messages", "Cleanup"));
}

} // namespace
