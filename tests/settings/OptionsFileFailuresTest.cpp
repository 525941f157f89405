#include <malloc.h>
#include <sys/stat.h>

#include "OptionsFileTest.h"

using namespace scripted;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

TEST_F(OptionsFileTest, AMissingFileIsOneLineAndExitStatusOneAndTheRestOfTheLineIsDone) {
  const std::string missing = m_Folder / "missing.ini";
  EXPECT_EQ(Run({"-CopyFile", missing.c_str(), "-Option", "a", "1"}), 1);
  const std::string line = "Cannot read options file '" + missing + "': No such file or directory";
  EXPECT_EQ(m_Recorder.m_Err, line + "\n");
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_THAT(m_Recorder.m_Log, testing::Contains("ERROR " + line).Times(1));
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterOptionsMsg"));
}

TEST_F(OptionsFileTest, AMissingFileAloneDoesNotShowTheHelp) {
  EXPECT_EQ(Run({"-CopyFile", (m_Folder / "missing.ini").c_str()}), 1);
  EXPECT_EQ(m_Recorder.m_Out, "");
}

TEST_F(OptionsFileTest, AFolderIsOneLineAndStoresNothing) {
  const std::string folder = m_Folder.Name();
  EXPECT_TRUE(Copy({"-CopyFile", folder.c_str()}));
  EXPECT_THAT(m_Recorder.m_Err, testing::StartsWith("Cannot read options file '" + folder + "': "));
  EXPECT_EQ(std::count(m_Recorder.m_Err.begin(), m_Recorder.m_Err.end(), '\n'), 1);
  EXPECT_TRUE(rlib::AnyFailureNoted());
  ExpectNothingPending();
}

TEST_F(OptionsFileTest, APipeThatNobodyWritesDoesNotHoldUpTheRun) {
  const std::string pipe = m_Folder / "pipe.ini";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(Run({"-CopyFile", pipe.c_str(), "-Option", "a", "1"}), 1);
  EXPECT_THAT(m_Recorder.m_Err, testing::StartsWith("Cannot read options file '" + pipe + "': "));
  EXPECT_EQ(m_Script.m_Sent.size(), 1u);
}

TEST_F(OptionsFileTest, LinesThatAreNoPairsAreLoggedAndCountedAndTheOthersAreTaken) {
  EXPECT_TRUE(CopyText("[Distribution]\nnonsense\n=5\na=1\n"));
  EXPECT_THAT(m_Access.m_OptionsMsg->m_Options, ElementsAre(Pair("a", "1")));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre(HasSubstr("line 2"), HasSubstr("line 3")));
  EXPECT_EQ(m_Recorder.m_Err,
            "Options file '" + m_File + "': skipped 2 lines that could not be understood, see the log\n");
}

TEST_F(OptionsFileTest, AnExceptionComesThroughAndLeavesNothingOfTheReaderBehind) {
  // The reader has taken many pairs when it logs a line that it skips, and that fails.
  WriteTextFile(m_File, "[Distribution]\na=" + std::string(1'000'000, 'x') + "\nnonsense\n");
  const auto allocated = [] {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  };
  const auto openFiles = [] {
    using Iterator = std::filesystem::directory_iterator;
    return std::distance(Iterator("/proc/self/fd"), Iterator());
  };
  const size_t before = allocated();
  const auto openBefore = openFiles();
  EXPECT_TRUE(LetsThrough([&] { Copy({"-CopyFile", m_File.c_str()}); }));
  EXPECT_LT(allocated(), before + 500'000);
  EXPECT_EQ(openFiles(), openBefore);
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
  ExpectNothingPending();
}

TEST_F(OptionsFileTest, MalformedLinesEndInExitStatusOneAfterTheRestWasDone) {
  WriteTextFile(m_File, "[Limit] tail\nAlpha=1\nBeta=2\n[Distribution] ; global\na=\"C:\\dir\\\"\n\"\"=2\n");
  EXPECT_EQ(Run({"-CopyFile", m_File.c_str(), "-Option", "b", "1"}), 1);
  EXPECT_EQ(m_Recorder.m_Err,
            "Options file '" + m_File + "': skipped 3 lines that could not be understood, see the log\n");
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("SetMasterOptionsMsg"));
  EXPECT_THAT(static_cast<const SetMasterOptionsMsg&>(*m_Script.m_Sent[0]).m_Options,
              ElementsAre(Pair("", "2"), Pair("a", "C:\\dir\\"), Pair("b", "1")));
}

TEST_F(OptionsFileTest, AFileThatIsNoTextIsOneLineAndSendsNothing) {
  for (const std::string& text :
       {std::string("\xff\xfe[\1"), "[Distribution]\na=1\nb=" + std::string(1, '\0') + "\n"}) {
    WriteTextFile(m_File, text);
    m_Recorder.m_Err.clear();
    EXPECT_TRUE(Copy({"-CopyFile", m_File.c_str()}));
    EXPECT_THAT(m_Recorder.m_Err, testing::StartsWith("Cannot read options file '" + m_File + "': "));
    EXPECT_EQ(std::count(m_Recorder.m_Err.begin(), m_Recorder.m_Err.end(), '\n'), 1);
    EXPECT_TRUE(rlib::AnyFailureNoted());
    ExpectNothingPending();
  }
}

} // namespace
