#include "serve/TrustedClock.h"

#include <gmock/gmock.h>

namespace brenic::master {
namespace {

constexpr int64_t k_ClockHour = TrustedClock::k_Hour;
constexpr int64_t k_ClockDay = TrustedClock::k_Day;
constexpr int64_t k_ClockStart = 1'800'000'000'000;

struct MovedMachine {
  int64_t m_Wall = k_ClockStart;
  int64_t m_Running = 5;

  void Pass(int64_t milliseconds) {
    m_Wall += milliseconds;
    m_Running += milliseconds;
  }
  Clocks Get() {
    return {[this] { return m_Wall; }, [this] { return m_Running; }};
  }
};

TEST(TrustedClock, FollowsAClockThatGoesAsTimeDoes) {
  MovedMachine machine;
  TrustedClock clock(machine.Get(), k_ClockStart - k_ClockDay);
  for (int i = 0; i != 400; ++i) {
    machine.Pass(k_ClockDay);
    machine.m_Wall += k_ClockHour / 2; // it is adjusted
    EXPECT_EQ(clock.Now(), machine.m_Wall);
  }
  EXPECT_FALSE(clock.IsInDoubt());
  EXPECT_FALSE(clock.News());
}

TEST(TrustedClock, GoesOnForADayWhenTheClockIsStepped) {
  for (const int64_t step :
       {3 * 365 * k_ClockDay, -3 * 365 * k_ClockDay, k_ClockHour + 1, -k_ClockHour - 1}) {
    MovedMachine machine;
    TrustedClock clock(machine.Get());
    machine.Pass(k_ClockDay);
    EXPECT_EQ(clock.Now(), k_ClockStart + k_ClockDay);
    machine.m_Wall += step;
    EXPECT_TRUE(clock.IsInDoubt()) << step;
    EXPECT_EQ(clock.Now(), k_ClockStart + k_ClockDay);
    const auto news = clock.News();
    ASSERT_TRUE(news);
    EXPECT_THAT(news->str(), testing::HasSubstr("The clock was set from 2027-01-16 08:00:00 UTC to"));
    EXPECT_FALSE(clock.News()) << "told once";
    machine.Pass(k_ClockDay - 1);
    EXPECT_TRUE(clock.IsInDoubt());
    EXPECT_EQ(clock.Now(), k_ClockStart + 2 * k_ClockDay - 1);
    machine.Pass(1);
    EXPECT_FALSE(clock.IsInDoubt());
    EXPECT_EQ(clock.Now(), machine.m_Wall);
    EXPECT_THAT(clock.News()->str(), testing::HasSubstr("is followed again"));
  }
}

TEST(TrustedClock, FollowsAgainWhenTheClockIsPutRight) {
  MovedMachine machine;
  TrustedClock clock(machine.Get());
  machine.m_Wall += 1000 * k_ClockDay;
  EXPECT_TRUE(clock.IsInDoubt());
  machine.Pass(k_ClockHour);
  machine.m_Wall -= 1000 * k_ClockDay;
  EXPECT_FALSE(clock.IsInDoubt());
  EXPECT_EQ(clock.Now(), k_ClockStart + k_ClockHour);
}

TEST(TrustedClock, DoubtsAStartBeforeTheNewestRecordOrLongBehindIt) {
  for (const int64_t known :
       {k_ClockStart + 10 * 60 * 1000, k_ClockStart + 365 * k_ClockDay, k_ClockStart - 30 * k_ClockDay - 1}) {
    MovedMachine machine;
    TrustedClock clock(machine.Get(), known);
    EXPECT_TRUE(clock.IsInDoubt()) << known;
    machine.Pass(k_ClockHour);
    EXPECT_EQ(clock.Now(), known + k_ClockHour);
    machine.Pass(k_ClockDay - k_ClockHour);
    EXPECT_FALSE(clock.IsInDoubt()) << known;
  }
  for (const int64_t known : {k_ClockStart, k_ClockStart + 1000, k_ClockStart - 30 * k_ClockDay}) {
    MovedMachine machine;
    TrustedClock clock(machine.Get(), known);
    EXPECT_FALSE(clock.IsInDoubt()) << known;
    EXPECT_EQ(clock.Now(), k_ClockStart);
  }
}

TEST(TrustedClock, KeepsWhatTheNextStartGoesBy) {
  MovedMachine machine;
  TrustedClock clock(machine.Get());
  EXPECT_EQ(clock.Record().m_Trusted, k_ClockStart);
  machine.m_Wall += 1000 * k_ClockDay;
  const ClockRecord kept = clock.Record();
  EXPECT_TRUE(kept.m_IsInDoubt);
  EXPECT_EQ(kept.m_Trusted, k_ClockStart);
  // A record of the wrong clock does not make it the right one.
  EXPECT_EQ(TrustedClock::KnownFrom(kept, machine.m_Wall), k_ClockStart);
  EXPECT_TRUE(TrustedClock(machine.Get(), TrustedClock::KnownFrom(kept, machine.m_Wall)).IsInDoubt());
  EXPECT_EQ(TrustedClock::KnownFrom(ClockRecord{5, false}, 7), 7);
  EXPECT_EQ(TrustedClock::KnownFrom(ClockRecord{7, false}, 5), 7);
  EXPECT_EQ(TrustedClock::KnownFrom(std::nullopt, 5), 5);
  EXPECT_EQ(TrustedClock::KnownFrom(std::nullopt, std::nullopt), std::nullopt);
}

} // namespace
} // namespace brenic::master
