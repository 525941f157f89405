#include "rlib/CallEntry.h"

#include <csignal>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "TempFolder.h"

using rlib::_CallEntry;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

std::string Open() {
  return rlib::OpenCallEntries().str();
}

/// Entries in static destructors must still be recorded safely.
struct Late {
  ~Late() { const _CallEntry entry("Late::~Late", "CallEntryTest", 1); }
} s_late;

TEST(CallEntry, IsOpenUntilItsScopeEnds) {
  {
    const _CallEntry outer("Outer", "File", 10);
    const _CallEntry inner("Inner", "File", 20);
    EXPECT_THAT(Open(), HasSubstr("  Inner (File:20)\n  Outer (File:10)\n"));
  }
  EXPECT_THAT(Open(), Not(HasSubstr("Outer")));
}

TEST(CallEntry, IsClosedByAnException) {
  try {
    const _CallEntry entry("Thrower", "File", 1);
    throw 1;
  } catch (int) {
  }
  EXPECT_THAT(Open(), Not(HasSubstr("Thrower")));
}

void Recurse(int depth, const std::function<void()>& atBottom) {
  const _CallEntry entry("Recurse", "File", depth);
  depth == 0 ? atBottom() : Recurse(depth - 1, atBottom);
}

TEST(CallEntry, DeeperCallsAreOnlyCounted) {
  Recurse(99, [] {
    EXPECT_THAT(Open(), HasSubstr("  ... 36 deeper calls\n  Recurse (File:36)\n"));
    EXPECT_THAT(Open(), HasSubstr("(File:99)"));
    EXPECT_THAT(Open(), Not(HasSubstr("(File:35)")));
  });
  EXPECT_THAT(Open(), Not(HasSubstr("Recurse")));
}

TEST(CallEntry, EveryThreadHasItsOwnAndGivesItBack) {
  const _CallEntry entry("Main", "File", 1);
  for (int i = 0; i < 1000; ++i)
    std::thread([] { const _CallEntry other("Short", "File", 1); }).join();
  std::promise<void> opened;
  std::promise<void> done;
  std::thread thread([&] {
    const _CallEntry other("Other", "File", 2);
    opened.set_value();
    done.get_future().wait();
  });
  opened.get_future().wait();
  EXPECT_THAT(Open(), AllOf(HasSubstr("  Main (File:1)\n"), HasSubstr("  Other (File:2)\n")));
  done.set_value();
  thread.join();
  EXPECT_THAT(Open(), AllOf(HasSubstr("Main"), Not(HasSubstr("Other")), Not(HasSubstr("Short"))));
}

TEST(CallEntry, MoreThreadsThanSlotsDoNoHarm) {
  std::promise<void> done;
  const std::shared_future<void> waiting = done.get_future().share();
  std::vector<std::thread> threads;
  for (int i = 0; i < 300; ++i)
    threads.emplace_back([waiting] {
      const _CallEntry entry("Many", "File", 1);
      waiting.wait();
    });
  EXPECT_FALSE(Open().empty());
  done.set_value();
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_THAT(Open(), Not(HasSubstr("Many")));
}

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
