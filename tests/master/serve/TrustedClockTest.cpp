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
  TrustedClock clock(machine.Get(), ClockRecord{k_ClockStart - k_ClockDay});
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
    TrustedClock clock(machine.Get(), ClockRecord{known});
    EXPECT_TRUE(clock.IsInDoubt()) << known;
    machine.Pass(k_ClockHour);
    EXPECT_EQ(clock.Now(), known + k_ClockHour);
    machine.Pass(k_ClockDay - k_ClockHour);
    EXPECT_FALSE(clock.IsInDoubt()) << known;
  }
  for (const int64_t known : {k_ClockStart, k_ClockStart + 1000, k_ClockStart - 30 * k_ClockDay}) {
    MovedMachine machine;
    TrustedClock clock(machine.Get(), ClockRecord{known});
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
  EXPECT_TRUE(kept.m_Doubt);
  EXPECT_EQ(kept.m_Trusted, k_ClockStart);
  // A record of the wrong clock does not make it the right one.
  EXPECT_EQ(TrustedClock::KnownFrom(kept, machine.m_Wall)->m_Trusted, k_ClockStart);
  EXPECT_TRUE(TrustedClock(machine.Get(), TrustedClock::KnownFrom(kept, machine.m_Wall)).IsInDoubt());
  EXPECT_EQ(TrustedClock::KnownFrom(ClockRecord{5}, 7)->m_Trusted, 7);
  EXPECT_EQ(TrustedClock::KnownFrom(ClockRecord{7}, 5)->m_Trusted, 7);
  EXPECT_EQ(TrustedClock::KnownFrom(std::nullopt, 5)->m_Trusted, 5);
  EXPECT_FALSE(TrustedClock::KnownFrom(std::nullopt, std::nullopt));
}

TEST(TrustedClock, ARecordFromAWrongTimeDoesNotCountOnceTheClockWasPutRight) {
  MovedMachine machine;
  TrustedClock clock(machine.Get());
  machine.m_Wall += 365 * k_ClockDay;
  EXPECT_TRUE(clock.IsInDoubt());
  const int64_t lastRecord = machine.m_Wall;
  machine.m_Wall -= 365 * k_ClockDay;
  EXPECT_FALSE(clock.IsInDoubt());
  TrustedClock next(machine.Get(), TrustedClock::KnownFrom(clock.Record(), lastRecord));
  EXPECT_FALSE(next.IsInDoubt());
  EXPECT_EQ(next.Now(), k_ClockStart);
}

TEST(TrustedClock, AFurtherStepBeginsAnotherDay) {
  MovedMachine machine;
  TrustedClock clock(machine.Get());
  machine.m_Wall += 365 * k_ClockDay;
  EXPECT_TRUE(clock.IsInDoubt());
  (void)clock.News();
  machine.Pass(23 * k_ClockHour);
  machine.m_Wall += 365 * k_ClockDay;
  EXPECT_TRUE(clock.IsInDoubt());
  EXPECT_THAT(clock.News().value_or("nothing").str(),
              testing::HasSubstr("The clock was set from 2028-01-16"));
  machine.Pass(23 * k_ClockHour);
  EXPECT_TRUE(clock.IsInDoubt());
  EXPECT_EQ(clock.Now(), k_ClockStart + 46 * k_ClockHour);
  machine.Pass(k_ClockHour);
  EXPECT_FALSE(clock.IsInDoubt());
}

/// A Master that is started again and again; each goes by what the one before has kept.
class Starts : public testing::Test {
protected:
  /// Runs for as long, from its start on; whether the clock is in doubt at the end.
  bool Run(int64_t milliseconds) {
    m_Clock.emplace(m_Machine.Get(), m_Kept);
    m_Kept = m_Clock->Record();
    m_Machine.Pass(milliseconds);
    return End();
  }
  bool End() {
    m_Kept = m_Clock->Record();
    return m_Clock->IsInDoubt();
  }
  /// The machine is off; its clock goes on, or another time is in it afterwards.
  void Rest(int64_t milliseconds) { m_Machine.m_Wall += milliseconds; }

  MovedMachine m_Machine;
  std::optional<ClockRecord> m_Kept = ClockRecord{k_ClockStart};
  std::optional<TrustedClock> m_Clock;
};

TEST_F(Starts, ADayOfDoubtEndsThoughTheMasterIsStartedDaily) {
  m_Machine.m_Wall += 365 * k_ClockDay; // for good
  EXPECT_TRUE(Run(10 * k_ClockHour));
  Rest(13 * k_ClockHour);
  EXPECT_TRUE(Run(k_ClockHour / 2));
  EXPECT_EQ(m_Clock->Now(), k_ClockStart + 23 * k_ClockHour + k_ClockHour / 2);
  EXPECT_THAT(
      m_Clock->News().value_or("nothing").str(),
      testing::HasSubstr("and was in doubt before this start already; 2027-01-16 07:00:00 UTC is believed"));
  Rest(k_ClockHour);
  EXPECT_FALSE(Run(k_ClockHour));
  EXPECT_EQ(m_Clock->Now(), m_Machine.m_Wall);
  EXPECT_THAT(m_Clock->News().value_or("nothing").str(), testing::HasSubstr("is followed again"));
  Rest(k_ClockHour);
  EXPECT_FALSE(Run(k_ClockHour));
  EXPECT_FALSE(m_Clock->News());
}

TEST_F(Starts, WhatRanIsKeptThoughTheClockBeginsAtTheSameWrongTimeEachTime) {
  const int64_t image = k_ClockStart - 1000 * k_ClockDay;
  for (int day = 0; day != 5; ++day) {
    m_Machine.m_Wall = image;
    EXPECT_TRUE(Run(20 * k_ClockHour)) << "each is a further step";
    EXPECT_EQ(m_Clock->Now(), k_ClockStart + (day + 1) * 20 * k_ClockHour);
  }
  m_Machine.m_Wall = image;
  EXPECT_FALSE(Run(k_ClockDay)) << "it goes as time does all day";
}

TEST_F(Starts, AClockThatIsPutRightAMinuteAfterTheStartIsFollowed) {
  for (int day = 0; day != 3; ++day) {
    const int64_t right = k_ClockStart + (day + 1) * 5 * k_ClockDay;
    m_Machine.m_Wall = k_ClockStart - 1000 * k_ClockDay;
    EXPECT_TRUE(Run(60'000));
    m_Machine.m_Wall = right;
    EXPECT_FALSE(End()) << day;
    EXPECT_EQ(m_Clock->Now(), right);
  }
}

TEST_F(Starts, AClockThatIsPutRightBetweenTwoStartsIsFollowed) {
  m_Machine.m_Wall += 365 * k_ClockDay;
  EXPECT_TRUE(Run(k_ClockHour));
  m_Machine.m_Wall -= 364 * k_ClockDay;
  EXPECT_FALSE(Run(k_ClockHour));
}

TEST_F(Starts, AnotherWrongTimeBeginsAnotherDay) {
  m_Machine.m_Wall += 365 * k_ClockDay;
  EXPECT_TRUE(Run(k_ClockHour));
  Rest(365 * k_ClockDay);
  EXPECT_TRUE(Run(23 * k_ClockHour));
  EXPECT_EQ(m_Clock->Now(), k_ClockStart + k_ClockDay) << "nobody knows how long it rested";
  EXPECT_FALSE(Run(k_ClockHour));
}

} // namespace
} // namespace brenic::master
