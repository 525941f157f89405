#include "Memory.h"
#include "scripted/SwitchHandlerTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RemoveTest : public SwitchHandlerTest {
protected:
  RemoveTest() { Install(1, "Alpha", {"first"}); }
  bool Remove(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::PrepareRemove, std::move(arguments), index);
  }
  std::vector<rlib::UID> Removed() {
    std::vector<rlib::UID> types;
    for (const auto& message : m_Access.m_ProductMsgs)
      types.push_back(dynamic_cast<const RemoveProductMsg&>(*message).m_ProductType);
    return types;
  }
};

TEST_F(RemoveTest, QueuesTheTypeAndMovesBehindTheProduct) {
  EXPECT_TRUE(Remove({"-RemoveProduct", "Alpha"}));
  EXPECT_THAT(Removed(), ElementsAre(Type(1)));
  EXPECT_EQ(m_Index, 1);
  ExpectSilence();
}

TEST_F(RemoveTest, TheProductMayBeGivenByAliasOrIdentifierInAnyCase) {
  EXPECT_TRUE(Parse({"-RemoveProduct", "FIRST", "-RemoveProduct", "00000000-0000-0000-0000-000000000001"}));
  EXPECT_THAT(Removed(), ElementsAre(Type(1), Type(1)));
}

TEST_F(RemoveTest, ReadsItsProductBehindItsOwnPosition) {
  EXPECT_TRUE(Remove({"-RemoveProduct", "x", "-RemoveProduct", "Alpha", "-Info"}, 2));
  EXPECT_THAT(Removed(), ElementsAre(Type(1)));
  EXPECT_EQ(m_Index, 3);
}

TEST_F(RemoveTest, TheNullIdentifierIsQueuedAsItIs) {
  EXPECT_EQ(Run({"-RemoveProduct", "00000000-0000-0000-0000-000000000000"}), 0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("RemoveProductMsg"));
  EXPECT_TRUE(static_cast<const RemoveProductMsg&>(*m_Script.m_Sent[0]).m_ProductType.IsNull());
}

TEST_F(RemoveTest, TheProductStaysInTheOwnRegistry) {
  EXPECT_TRUE(Remove({"-RemoveProduct", "Alpha"}));
  EXPECT_TRUE(JobFactory::s_JobFactory.GetProduct(Type(1)));
}

TEST_F(RemoveTest, AsTheLastArgumentIsAnErrorInTheWordsOfTheExport) {
  EXPECT_TRUE(Remove({"-Info", "-RemoveProduct"}, 1));
  ExpectProductError("Could not export product: Not enough arguments");
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("ERROR Could not export product: Not enough arguments"));
  EXPECT_EQ(m_Index, 1);
}

TEST_F(RemoveTest, AnEmptyProductIsAnErrorInTheWordsOfTheExportThatMovesNothing) {
  EXPECT_TRUE(Remove({"-RemoveProduct", "", "x"}));
  ExpectProductError("Could not export product: You must supply a product name");
  EXPECT_EQ(m_Index, 0);
}

TEST_F(RemoveTest, ASwitchInPlaceOfTheProductIsAnErrorThatMovesNothing) {
  EXPECT_TRUE(Remove({"-RemoveProduct", "-Info"}));
  ExpectProductError("Could not export product: Not enough arguments");
  EXPECT_EQ(m_Index, 0);
}

TEST_F(RemoveTest, ASwitchInPlaceOfTheProductIsThenHandledAsOne) {
  EXPECT_TRUE(Parse({"-RemoveProduct", "-Info"}));
  EXPECT_TRUE(m_Access.m_ShowInfo);
}

TEST_F(RemoveTest, AnUnknownProductIsAnErrorInTheWordsOfTheExportBehindIt) {
  EXPECT_TRUE(Remove({"-RemoveProduct", "Gamma"}));
  ExpectProductError("Could not export product: Product not installed: Gamma");
  EXPECT_EQ(m_Index, 1);
  EXPECT_THAT(m_Access.m_ProductMsgs, IsEmpty());
}

TEST_F(RemoveTest, AFailedRemovalFailsTheRunAndTheOthersAreSent) {
  EXPECT_EQ(Run({"-RemoveProduct", "Gamma", "-RemoveProduct", "Alpha", "-DumpLogs"}), 1);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("LogDumpMsg", "RemoveProductMsg"));
}

TEST_F(RemoveTest, AnExceptionComesThrough) {
  EXPECT_TRUE(LetsThrough([&] { Remove({"-RemoveProduct", "Gamma"}); }));
  EXPECT_THAT(m_Recorder.m_Log, IsEmpty());
  EXPECT_EQ(m_Access.m_ExitCode, 0);
}

TEST_F(RemoveTest, WantOfMemoryComesThrough) {
  const std::string product(500'000, 'x');
  m_Access.m_CommandLine = Arguments({"-RemoveProduct", product.c_str()});
  EXPECT_TRUE(RunsOutOfMemory(400'000, [&] { m_Access.PrepareRemove(m_Index); }));
  EXPECT_EQ(m_Recorder.m_Out, "");
}

TEST_F(RemoveTest, IsTraced) {
  EXPECT_EQ(TraceOf([&] { Remove({"-RemoveProduct"}); }), "SetwrightApp::PrepareRemove (Setwright");
}

} // namespace
