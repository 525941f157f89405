#include "serve/TrustedClock.h"

#include <gmock/gmock.h>

namespace brenic::master {
namespace {

constexpr int64_t k_Hour = TrustedClock::k_Hour;
constexpr int64_t k_Day = TrustedClock::k_Day;
constexpr int64_t k_Then = 1'800'000'000'000;

struct Machine {
  int64_t m_Wall = k_Then;
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
  Machine machine;
  TrustedClock clock(machine.Get(), k_Then - k_Day);
  for (int i = 0; i != 400; ++i) {
    machine.Pass(k_Day);
    machine.m_Wall += k_Hour / 2; // it is adjusted
    EXPECT_EQ(clock.Now(), machine.m_Wall);
  }
  EXPECT_FALSE(clock.IsInDoubt());
  EXPECT_FALSE(clock.News());
}

TEST(TrustedClock, GoesOnForADayWhenTheClockIsStepped) {
  for (const int64_t step : {3 * 365 * k_Day, -3 * 365 * k_Day, k_Hour + 1, -k_Hour - 1}) {
    Machine machine;
    TrustedClock clock(machine.Get());
    machine.Pass(k_Day);
    EXPECT_EQ(clock.Now(), k_Then + k_Day);
    machine.m_Wall += step;
    EXPECT_TRUE(clock.IsInDoubt()) << step;
    EXPECT_EQ(clock.Now(), k_Then + k_Day);
    const auto news = clock.News();
    ASSERT_TRUE(news);
    EXPECT_THAT(news->str(), testing::HasSubstr("The clock was set from 2027-01-16 08:00:00 UTC to"));
    EXPECT_FALSE(clock.News()) << "told once";
    machine.Pass(k_Day - 1);
    EXPECT_TRUE(clock.IsInDoubt());
    EXPECT_EQ(clock.Now(), k_Then + 2 * k_Day - 1);
    machine.Pass(1);
    EXPECT_FALSE(clock.IsInDoubt());
    EXPECT_EQ(clock.Now(), machine.m_Wall);
    EXPECT_THAT(clock.News()->str(), testing::HasSubstr("is followed again"));
  }
}

TEST(TrustedClock, FollowsAgainWhenTheClockIsPutRight) {
  Machine machine;
  TrustedClock clock(machine.Get());
  machine.m_Wall += 1000 * k_Day;
  EXPECT_TRUE(clock.IsInDoubt());
  machine.Pass(k_Hour);
  machine.m_Wall -= 1000 * k_Day;
  EXPECT_FALSE(clock.IsInDoubt());
  EXPECT_EQ(clock.Now(), k_Then + k_Hour);
}

TEST(TrustedClock, DoubtsAStartBeforeTheNewestRecordOrLongBehindIt) {
  for (const int64_t known : {k_Then + 10 * 60 * 1000, k_Then + 365 * k_Day, k_Then - 30 * k_Day - 1}) {
    Machine machine;
    TrustedClock clock(machine.Get(), known);
    EXPECT_TRUE(clock.IsInDoubt()) << known;
    machine.Pass(k_Hour);
    EXPECT_EQ(clock.Now(), known + k_Hour);
    machine.Pass(k_Day - k_Hour);
    EXPECT_FALSE(clock.IsInDoubt()) << known;
  }
  for (const int64_t known : {k_Then, k_Then + 1000, k_Then - 30 * k_Day}) {
    Machine machine;
    TrustedClock clock(machine.Get(), known);
    EXPECT_FALSE(clock.IsInDoubt()) << known;
    EXPECT_EQ(clock.Now(), k_Then);
  }
}

TEST(TrustedClock, KeepsWhatTheNextStartGoesBy) {
  Machine machine;
  TrustedClock clock(machine.Get());
  EXPECT_EQ(clock.Record().m_Trusted, k_Then);
  machine.m_Wall += 1000 * k_Day;
  const ClockRecord kept = clock.Record();
  EXPECT_TRUE(kept.m_IsInDoubt);
  EXPECT_EQ(kept.m_Trusted, k_Then);
  // A record of the wrong clock does not make it the right one.
  EXPECT_EQ(TrustedClock::KnownFrom(kept, machine.m_Wall), k_Then);
  EXPECT_TRUE(TrustedClock(machine.Get(), TrustedClock::KnownFrom(kept, machine.m_Wall)).IsInDoubt());
  EXPECT_EQ(TrustedClock::KnownFrom(ClockRecord{5, false}, 7), 7);
  EXPECT_EQ(TrustedClock::KnownFrom(ClockRecord{7, false}, 5), 7);
  EXPECT_EQ(TrustedClock::KnownFrom(std::nullopt, 5), 5);
  EXPECT_EQ(TrustedClock::KnownFrom(std::nullopt, std::nullopt), std::nullopt);
}

} // namespace
} // namespace brenic::master
