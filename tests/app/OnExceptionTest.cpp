#include "scripted/SetwrightTest.h"
#include "scripted/Writes.h"

using namespace scripted;

namespace {

class FileException : public rlib::Exception {
public:
  using Exception::Exception;
  rlib::String Name() const override { return "File"; }
};

using OnExceptionTest = SetwrightTest;

TEST_F(OnExceptionTest, NamesTheExceptionAndAddsAnEmptyLine) {
  FileException e("not shown");
  EXPECT_FALSE(m_App.OnException(&e));
  EXPECT_EQ(m_Recorder.m_Out, "Terminated by File exception\n\n");
  EXPECT_EQ(m_Recorder.m_Err, "");
}

TEST_F(OnExceptionTest, IsTraced) {
  struct Curious : FileException {
    using FileException::FileException;
    rlib::String Name() const override {
      m_Calls = OpenCalls();
      return "Curious";
    }
    mutable std::vector<std::string> m_Calls;
  } e("");
  m_App.OnException(&e);
  EXPECT_THAT(e.m_Calls, testing::ElementsAre("SetwrightApp::OnException (Setwright"));
}

TEST_F(OnExceptionTest, WithoutAnExceptionUsesItsOwnSpelling) {
  EXPECT_FALSE(m_App.OnException(nullptr));
  EXPECT_EQ(m_Recorder.m_Out, "Termianted by UNKNOWN excpetion\n\n");
}

TEST_F(OnExceptionTest, TheLineAndTheEmptyOneAreWrittenEachByItself) {
  FileException e("");
  EXPECT_THAT(WritesOf(m_Recorder, [&] { m_App.OnException(&e); }).m_Texts,
              testing::ElementsAre("Terminated by File exception\n", "\n"));
}

TEST_F(OnExceptionTest, AnExceptionFromTheLoopEndsTheRunWithOneAndCleansUp) {
  m_Script.m_Passes.emplace_back([] { throw new FileException("the reason"); });
  EXPECT_EQ(Run({"-Info"}), 1);
  EXPECT_EQ(m_Recorder.m_Out, "Terminated by File exception\n\n");
  EXPECT_EQ(m_Script.m_Executes, 1);
  EXPECT_EQ(m_Script.m_Cleanups, 1);
}

TEST_F(OnExceptionTest, AnExceptionOfAnotherKindIsUnknown) {
  m_Script.m_Passes.emplace_back([] { throw 5; });
  EXPECT_EQ(Run({"-Info"}), 1);
  EXPECT_EQ(m_Recorder.m_Out, "Termianted by UNKNOWN excpetion\n\n");
}

} // namespace
