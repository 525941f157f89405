#include "rlib/Stream.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "TempFolder.h"
#include "rlib/Failures.h"

using rlib::LineStream;
using rlib::OutStream;
using rlib::Stream;
using rlib::String;

namespace {

/// Both must work before main.
const bool s_EarlyPut = [] {
  rlib::stdOut.Put("");
  rlib::stdErr.Put(rlib::k_Empty);
  return true;
}();

class StreamTest : public testing::Test {
protected:
  void SetUp() override {
    signal(SIGPIPE, SIG_IGN);
    rlib::ResetNotedFailures();
    m_Fd = open((m_Folder / "out").c_str(), O_RDWR | O_CREAT | O_APPEND, 0600);
    ASSERT_GE(m_Fd, 0);
  }
  void TearDown() override {
    close(m_Fd);
    rlib::ResetNotedFailures();
  }
  std::string Written() const { return ReadTextFile(m_Folder / "out"); }

  TempFolder m_Folder;
  int m_Fd = -1;
};

TEST_F(StreamTest, TextIsWrittenWhenItsLineEnds) {
  EXPECT_TRUE(s_EarlyPut);
  LineStream stream(m_Fd, "test");
  stream.Put(String("Hello"));
  stream.Put(", world");
  EXPECT_EQ(Written(), "");
  stream.PutEOL(Stream::eolType(0));
  EXPECT_EQ(Written(), "Hello, world\n");
  stream.PutEOL();
  EXPECT_EQ(Written(), "Hello, world\n\n");
}

TEST_F(StreamTest, EndOfLineTypesAreHonoured) {
  LineStream stream(m_Fd, "test");
  stream.Put("a\nb\n", Stream::k_EolWindows);
  stream.PutEOL(Stream::k_EolWindows);
  stream.Put("a\nb", Stream::k_EolUnix);
  stream.PutEOL(Stream::k_EolUnix);
  EXPECT_EQ(Written(), "a\r\nb\r\n\r\na\nb\n");
}

TEST_F(StreamTest, NulBytesAndNullPointersAreHarmless) {
  LineStream stream(m_Fd, "test");
  stream.Put(String("a\0b", 3));
  stream.Put(static_cast<const char*>(nullptr));
  stream.PutEOL();
  EXPECT_EQ(Written(), std::string("a\0b\n", 4));
}

/// What the action writes to the standard stream of that descriptor.
template <typename Action>
std::string WrittenTo(int fd, int file, Action action) {
  const pid_t child = fork();
  if (child == 0) {
    dup2(file, fd);
    action();
    _exit(0);
  }
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  std::string text(1000, '\0');
  text.resize(static_cast<size_t>(pread(file, text.data(), text.size(), 0)));
  return text;
}

TEST_F(StreamTest, StandardErrorShowsControlCharacters) {
  EXPECT_EQ(WrittenTo(STDERR_FILENO, m_Fd,
                      [] {
                        rlib::stdErr.Put("a\nb\x1b[31m\xc2");
                        rlib::stdErr.Put(String("\x9b\u202e\x7f"));
                        rlib::stdErr.PutEOL();
                        rlib::stdErr.PutLine("c\r\nd");
                        rlib::stdErr.Put("e\tf");
                        rlib::stdErr.Close();
                      }),
            "a\\nb\\x1b[31m\\xc2\\x9b\\xe2\\x80\\xae\\x7f\nc\\r\\nd\ne\\tf");
}

TEST_F(StreamTest, StandardOutputWritesWhatItIsGiven) {
  EXPECT_EQ(WrittenTo(STDOUT_FILENO, m_Fd,
                      [] {
                        rlib::stdOut.Put("a\nb\x1b[31m\u202e");
                        rlib::stdOut.PutEOL();
                      }),
            "a\nb\x1b[31m\u202e\n");
}

TEST_F(StreamTest, CloseWritesWhatHasNoEndOfLineYet) {
  LineStream stream(m_Fd, "test");
  stream.Put("dropped");
  stream.Close(true);
  stream.Put("kept");
  stream.Close();
  EXPECT_EQ(Written(), "kept");
}

TEST_F(StreamTest, WholeLineDoesNotTouchTextThatAccumulates) {
  LineStream stream(m_Fd, "test");
  stream.Put("first ");
  stream.PutLine("between");
  stream.Put("half");
  stream.PutEOL();
  EXPECT_EQ(Written(), "between\nfirst half\n");
}

TEST_F(StreamTest, LinesOfSeveralThreadsDoNotMix) {
  LineStream stream(m_Fd, "test");
  std::vector<std::thread> threads;
  for (const char c : {'a', 'b', 'c', 'd'})
    threads.emplace_back([&stream, c] {
      for (int i = 0; i < 200; ++i) {
        for (int part = 0; part < 5; ++part)
          stream.Put(String(std::string(10, c)));
        stream.PutEOL();
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  std::istringstream lines(Written());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count)
    EXPECT_EQ(line, std::string(50, line.empty() ? '?' : line[0]));
  EXPECT_EQ(count, 800);
}

TEST_F(StreamTest, FullDiskIsNotedAndReportedOnce) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  LineStream complaints(m_Fd, "complaints");
  LineStream stream(full, "standard output", &complaints);
  stream.Put("x");
  EXPECT_FALSE(rlib::AnyFailureNoted());
  stream.PutEOL();
  EXPECT_TRUE(rlib::AnyFailureNoted());
  stream.Put("y");
  stream.PutEOL();
  stream.PutLine("z");
  stream.Close();
  EXPECT_EQ(Written(), "Cannot write to standard output: No space left on device\n");
  close(full);
}

TEST_F(StreamTest, StandardOutputComplainsOnStandardError) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
    dup2(m_Fd, STDERR_FILENO);
    rlib::stdOut.Put("x");
    rlib::stdOut.PutEOL();
    rlib::stdOut.PutLine("y");
    _exit(rlib::AnyFailureNoted() ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Written(), "Cannot write to standard output: No space left on device\n");
}

TEST_F(StreamTest, ClosedPipeIsNotedAndReportedOnce) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  LineStream complaints(m_Fd, "complaints");
  LineStream stream(ends[1], "standard output", &complaints);
  stream.PutLine("x");
  stream.PutLine("y");
  EXPECT_TRUE(rlib::AnyFailureNoted());
  EXPECT_EQ(Written(), "Cannot write to standard output: Broken pipe\n");
  close(ends[1]);
}

TEST_F(StreamTest, FailureWithoutStreamForComplaintsIsStillNoted) {
  LineStream stream(-1, "standard error");
  stream.PutLine("x");
  EXPECT_TRUE(rlib::AnyFailureNoted());
}

TEST_F(StreamTest, NonBlockingPipeGetsEverything) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, 0), 0);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  const std::string text(1 << 20, 'x');
  size_t got = 0;
  std::thread reader([&] {
    char buffer[4096];
    for (ssize_t n; (n = read(ends[0], buffer, sizeof(buffer))) > 0;)
      got += static_cast<size_t>(n);
  });
  LineStream stream(ends[1], "test");
  stream.PutLine(text);
  close(ends[1]);
  reader.join();
  close(ends[0]);
  EXPECT_EQ(got, text.size() + 1);
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

TEST_F(StreamTest, CaptureTakesTheLinesInstead) {
  LineStream stream(m_Fd, "test");
  std::string captured;
  stream.Capture(&captured);
  stream.Put("a");
  stream.PutEOL();
  stream.PutLine("b");
  stream.Capture(nullptr);
  stream.PutLine("c");
  EXPECT_EQ(captured, "a\nb\n");
  EXPECT_EQ(Written(), "c\n");
}

} // namespace
