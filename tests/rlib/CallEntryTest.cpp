#include "rlib/CallEntry.h"

#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using rlib::_CallEntry;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

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

} // namespace
