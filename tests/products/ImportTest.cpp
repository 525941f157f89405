#include <sys/stat.h>

#include "Memory.h"
#include "scripted/SwitchHandlerTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ImportTest : public SwitchHandlerTest {
protected:
  ImportTest() {
    WriteTextFile(m_File,
                  R"({"id":"00000000-0000-0000-0000-000000000007","name":"Seven","aliases":["vii"]})");
  }
  bool Import(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::PrepareImport, std::move(arguments), index);
  }
  /// The loading failed for the reason that stands on standard error.
  void ExpectFailedLoad(const std::string& file, const std::string& why) {
    EXPECT_EQ(m_Recorder.m_Err, why + "\n");
    m_Recorder.m_Err.clear();
    ExpectProductError("Could not import product: Failed to load product file: " + file);
  }
  const Product& Imported(size_t number) {
    return *dynamic_cast<const ProductMsg&>(*m_Access.m_ProductMsgs.at(number)).m_Product;
  }

  const TempFolder m_Folder;
  const std::string m_File = m_Folder / "seven.json";
};

TEST_F(ImportTest, QueuesTheProductOfTheFileAndMovesBehindIt) {
  EXPECT_TRUE(Import({"-ImportProduct", m_File.c_str()}));
  ASSERT_EQ(m_Access.m_ProductMsgs.size(), 1u);
  EXPECT_EQ(Imported(0).Type(), Type(7));
  EXPECT_EQ(Imported(0).Name(), "Seven");
  EXPECT_THAT(Imported(0).Aliases(), ElementsAre("vii"));
  EXPECT_EQ(Imported(0).Document(), ReadTextFile(m_File));
  EXPECT_EQ(m_Index, 1);
  ExpectSilence();
}

TEST_F(ImportTest, DoesNotPutTheProductIntoTheOwnRegistry) {
  EXPECT_TRUE(Import({"-ImportProduct", m_File.c_str()}));
  EXPECT_FALSE(JobFactory::s_JobFactory.GetProduct(Type(7)));
}

TEST_F(ImportTest, ReadsItsFileBehindItsOwnPosition) {
  EXPECT_TRUE(Import({"-ImportProduct", "x", "-ImportProduct", m_File.c_str(), "-Info"}, 2));
  EXPECT_EQ(m_Access.m_ProductMsgs.size(), 1u);
  EXPECT_EQ(m_Index, 3);
}

TEST_F(ImportTest, ImportsAndRemovalsGoOutInTheOrderOfTheLine) {
  Install(1, "Alpha");
  const std::string eight = m_Folder / "eight.json";
  WriteTextFile(eight, R"({"id":"00000000-0000-0000-0000-000000000008","name":"Eight"})");
  EXPECT_EQ(
      Run({"-ImportProduct", eight.c_str(), "-RemoveProduct", "Alpha", "-ImportProduct", m_File.c_str()}), 0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("ProductMsg", "RemoveProductMsg", "ProductMsg"));
  EXPECT_EQ(static_cast<const ProductMsg&>(*m_Script.m_Sent[0]).m_Product->Name(), "Eight");
  EXPECT_EQ(static_cast<const ProductMsg&>(*m_Script.m_Sent[2]).m_Product->Name(), "Seven");
}

TEST_F(ImportTest, AsTheLastArgumentPassesTheWeakCountCheckWithAnEmptyFileName) {
  EXPECT_TRUE(Import({"-ImportProduct"}));
  ExpectProductError("Could not import product: Filename does not exist: ");
  EXPECT_EQ(m_Index, 1);
}

TEST_F(ImportTest, OnlyAPositionBehindTheLineIsTooFewArguments) {
  EXPECT_TRUE(Import({"-ImportProduct"}, 1));
  ExpectProductError("Could not import product: Not enough arguments");
  EXPECT_EQ(m_Index, 1);
}

TEST_F(ImportTest, AnEmptyFileNameDoesNotExist) {
  EXPECT_TRUE(Import({"-ImportProduct", "", "-Info"}));
  ExpectProductError("Could not import product: Filename does not exist: ");
  EXPECT_EQ(m_Index, 1);
}

TEST_F(ImportTest, ASwitchInPlaceOfTheFileIsAnErrorThatMovesNothing) {
  EXPECT_TRUE(Import({"-ImportProduct", "-Info"}));
  ExpectProductError("Could not import product: Not enough arguments");
  EXPECT_EQ(m_Index, 0);
}

TEST_F(ImportTest, ASwitchInPlaceOfTheFileIsThenHandledAsOne) {
  EXPECT_TRUE(Parse({"-ImportProduct", "-Info"}));
  EXPECT_TRUE(m_Access.m_ShowInfo);
  ExpectProductError("Could not import product: Not enough arguments");
}

TEST_F(ImportTest, AMissingFileIsAnErrorThatSaysFilename) {
  const std::string missing = m_Folder / "missing.json";
  EXPECT_TRUE(Import({"-ImportProduct", missing.c_str()}));
  ExpectProductError("Could not import product: Filename does not exist: " + missing);
  EXPECT_EQ(m_Recorder.m_Log.size(), 1u);
  EXPECT_EQ(m_Index, 1);
}

TEST_F(ImportTest, NoExtensionIsAddedToTheFileName) {
  EXPECT_TRUE(Import({"-ImportProduct", (m_Folder / "seven").c_str()}));
  ExpectProductError("Could not import product: Filename does not exist: " + (m_Folder / "seven"));
}

TEST_F(ImportTest, AFileThatIsNoProductIsAnErrorWithItsReason) {
  WriteTextFile(m_File, R"({"id":"00000000-0000-0000-0000-000000000007"})");
  EXPECT_TRUE(Import({"-ImportProduct", m_File.c_str()}));
  const std::string why = "Product file '" + m_File + "': line 1, column 1: the definition has no \"name\"";
  ExpectFailedLoad(m_File, why);
  ASSERT_EQ(m_Recorder.m_Log.size(), 2u);
  EXPECT_EQ(m_Recorder.m_Log[0], "ERROR " + why);
  EXPECT_THAT(m_Access.m_ProductMsgs, IsEmpty());
}

TEST_F(ImportTest, AFolderIsNoProduct) {
  EXPECT_TRUE(Import({"-ImportProduct", m_Folder.Name().c_str()}));
  ExpectFailedLoad(m_Folder.Name(),
                   "Product file '" + m_Folder.Name() + "': it is neither a regular file nor a pipe");
}

TEST_F(ImportTest, APipeThatNobodyWritesIsNoProductAndDoesNotHoldUpTheRun) {
  const std::string pipe = m_Folder / "pipe.json";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_TRUE(Import({"-ImportProduct", pipe.c_str()}));
  ExpectFailedLoad(pipe, "Product file '" + pipe + "': nothing came out of the pipe for 5 s");
}

TEST_F(ImportTest, AFailedImportFailsTheRunAndTheOthersAreSent) {
  EXPECT_EQ(Run({"-ImportProduct", "missing.json", "-ImportProduct", m_File.c_str(), "-DumpLogs"}), 1);
  EXPECT_EQ(m_Recorder.m_Out, "Could not import product: Filename does not exist: missing.json\n");
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("LogDumpMsg", "ProductMsg"));
}

TEST_F(ImportTest, AnExceptionComesThrough) {
  WriteTextFile(m_File, "{"); // which the framework logs
  EXPECT_TRUE(LetsThrough([&] { Import({"-ImportProduct", m_File.c_str()}); }));
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_EQ(m_Access.m_ExitCode, 0);
}

TEST_F(ImportTest, WantOfMemoryComesThrough) {
  WriteTextFile(m_File, std::string(500'000, ' '));
  EXPECT_TRUE(RunsOutOfMemory(400'000, [&] { Import({"-ImportProduct", m_File.c_str()}); }));
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_THAT(m_Access.m_ProductMsgs, IsEmpty());
}

TEST_F(ImportTest, IsTraced) {
  EXPECT_EQ(TraceOf([&] { Import({"-ImportProduct"}); }), "SetwrightApp::PrepareImport (Setwright");
}

} // namespace
