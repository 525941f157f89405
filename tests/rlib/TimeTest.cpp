#include "rlib/Time.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>

using rlib::Time;

namespace {

TEST(Time, ZeroIsNever) {
  EXPECT_TRUE(Time().IsZero());
  EXPECT_FALSE(Time::Now().IsZero());
  EXPECT_GT(Time::Now(), Time(1700000000000));
}

TEST(Time, FormatsInUtc) {
  const Time time(1769860800123);
  EXPECT_EQ(time.Iso8601(), "2026-01-31T12:00:00.123Z");
  EXPECT_EQ(time.Format(), "2026-01-31 12:00:00");
  EXPECT_EQ(time.Format("%Y-%m-%d"), "2026-01-31");
  EXPECT_EQ(time.Format("%H", false, true), "12.123");
  EXPECT_EQ(time.Format(""), "");
  EXPECT_EQ(time.Format("%%"), "%");
  EXPECT_EQ(rlib::String(rlib::k_DefaultDateTime), "%Y-%m-%d %H:%M:%S");
}

TEST(Time, FormatsInLocalTime) {
  const char* const zone = getenv("TZ");
  const std::string before = zone ? zone : "";
  setenv("TZ", "XXX-02", 1);
  tzset();
  EXPECT_EQ(Time(1769860800123).Format("%H:%M", true), "14:00");
  EXPECT_EQ(Time(1769860800123).Format("%H:%M", false), "12:00");
  zone ? setenv("TZ", before.c_str(), 1) : unsetenv("TZ");
  tzset();
}

TEST(Time, CountsDownBefore1970) {
  EXPECT_EQ(Time(-1).Iso8601(), "1969-12-31T23:59:59.999Z");
}

TEST(Time, LongFormatsAndExtremeTimesAreSafe) {
  EXPECT_EQ(Time(0).Format(std::string(10000, 'x')).size(), 10000u);
  EXPECT_EQ(Time(std::numeric_limits<int64_t>::max()).Format("%j").size(), 3u);
  EXPECT_EQ(Time(std::numeric_limits<int64_t>::min()).Format("%j").size(), 3u);
}

} // namespace
