#include "rlib/CrashHandler.h"

#include <csignal>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "TempFolder.h"
#include "rlib/CallEntry.h"

using rlib::_CallEntry;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Runs the action in a child with the crash handler and gives how the child ended.
int StatusOfChild(const std::string& folder, const std::function<void()>& action) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    rlib::InstallCrashHandler(folder, "test");
    action();
    _exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

std::string OnlyFileOf(const TempFolder& folder, std::string* name = nullptr) {
  EXPECT_EQ(folder.Count(), 1u);
  for (const auto& entry : std::filesystem::directory_iterator(folder.Name())) {
    if (name)
      *name = entry.path().filename().string();
    return ReadTextFile(entry.path());
  }
  return {};
}

TEST(CrashHandler, AbortWritesAReportAndKeepsItsDefaultAction) {
  const TempFolder folder;
  const int status = StatusOfChild(folder.Name(), [] {
    const _CallEntry outer("SetwrightApp::Startup", "Setwright", 10);
    const _CallEntry inner("SetwrightApp::AddOption", "Setwright", 20);
    std::abort();
  });
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
  std::string name;
  const std::string report = OnlyFileOf(folder, &name);
  EXPECT_THAT(name, AllOf(StartsWith("test.crash."), EndsWith(".txt")));
  EXPECT_THAT(report, StartsWith("Signal: SIGABRT\nTime: "));
  EXPECT_THAT(
      report,
      HasSubstr("  SetwrightApp::AddOption (Setwright:20)\n  SetwrightApp::Startup (Setwright:10)\n"));
}

TEST(CrashHandler, ReportHoldsEveryThread) {
  const TempFolder folder;
  const int status = StatusOfChild(folder.Name(), [] {
    const _CallEntry entry("Main", "File", 1);
    std::promise<void> opened;
    std::thread([&] {
      const _CallEntry other("Waiting", "File", 2);
      opened.set_value();
      pause();
    }).detach();
    opened.get_future().wait();
    std::thread([] {
      const _CallEntry crashing("Crashing", "File", 3);
      std::abort();
    }).join();
  });
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_THAT(OnlyFileOf(folder), AllOf(HasSubstr("(this one):\n  Crashing (File:3)\n"),
                                        HasSubstr("  Main (File:1)\n"), HasSubstr("  Waiting (File:2)\n")));
}

bool IsUnhandled(int number) {
  struct sigaction current {};
  sigaction(number, nullptr, &current);
  return !(current.sa_flags & SA_SIGINFO) && current.sa_handler == SIG_DFL;
}

int Overflow(int depth) {
  volatile char frame[4096] = {};
  frame[depth % 4096] = 1;
  return depth < 0 ? 0 : Overflow(depth + 1) + frame[0];
}

TEST(CrashHandler, OverflowOfTheStackIsReportedUnlessSomebodyElseHandlesIt) {
  if (!IsUnhandled(SIGSEGV))
    GTEST_SKIP() << "a sanitizer handles it";
  const TempFolder folder;
  const int status = StatusOfChild(folder.Name(), [] {
    const _CallEntry entry("Deep", "File", 1);
    _exit(Overflow(0));
  });
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGSEGV);
  EXPECT_THAT(OnlyFileOf(folder), HasSubstr("  Deep (File:1)\n"));
}

TEST(CrashHandler, SegmentationFaultIsReportedUnlessSomebodyElseHandlesIt) {
  if (!IsUnhandled(SIGSEGV))
    GTEST_SKIP() << "a sanitizer handles it";
  const TempFolder folder;
  const int status = StatusOfChild(folder.Name(), [] {
    const _CallEntry entry("Faulty", "File", 1);
    raise(SIGSEGV);
  });
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGSEGV);
  EXPECT_THAT(OnlyFileOf(folder), AllOf(StartsWith("Signal: SIGSEGV\n"), HasSubstr("  Faulty (File:1)\n")));
}

TEST(CrashHandler, HandlerOfSomebodyElseStays) {
  const TempFolder folder;
  const int status = StatusOfChild(folder.Name(), [&folder] {
    signal(SIGFPE, [](int) { _exit(7); });
    rlib::InstallCrashHandler(folder.Name(), "test");
    // The first installation took it; this one must leave the new handler alone.
    raise(SIGFPE);
  });
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
  EXPECT_EQ(folder.Count(), 0u);
}

TEST(CrashHandler, FolderThatIsMissingDoesNotStopTheSignal) {
  const int status = StatusOfChild("/nonexistent/folder", [] { std::abort(); });
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
}

} // namespace
