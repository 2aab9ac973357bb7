#include "platform/windows/ZefaWindowsClock.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <ctime>
#include <set>

namespace {

// A zone with daylight saving time: the standard bias, and the day (month, week of the month,
// 5 for the last) and hour at which each period starts.
TIME_ZONE_INFORMATION zone(LONG bias, WORD daylightMonth, WORD daylightWeek, WORD daylightHour,
                           WORD standardMonth, WORD standardWeek, WORD standardHour) {
  TIME_ZONE_INFORMATION info{};
  info.Bias = bias;
  info.DaylightBias = -60;
  info.DaylightDate.wMonth = daylightMonth;
  info.DaylightDate.wDay = daylightWeek;
  info.DaylightDate.wHour = daylightHour;
  info.StandardDate.wMonth = standardMonth;
  info.StandardDate.wDay = standardWeek;
  info.StandardDate.wHour = standardHour;
  return info;
}

// The offset changes with daylight saving time, in either hemisphere.
TEST(ZefaWindowsClock, OffsetFollowsDaylightSavingTime) {
  const TIME_ZONE_INFORMATION berlin = zone(-60, 3, 5, 2, 10, 5, 3);
  const TIME_ZONE_INFORMATION sydney = zone(-600, 10, 1, 2, 4, 1, 3);
  const TIME_ZONE_INFORMATION newYork = zone(300, 3, 2, 2, 11, 1, 2);
  const TIME_ZONE_INFORMATION utc{};
  const double january = 1705320000;  // 2024-01-15 12:00 UTC
  const double july = 1720526400;     // 2024-07-09 12:00 UTC
  for (const auto& [name, info, winter, summer] :
       std::initializer_list<std::tuple<const char*, TIME_ZONE_INFORMATION, int64_t, int64_t>>{
           {"Berlin", berlin, 3600, 7200},
           {"Sydney", sydney, 39600, 36000},
           {"New York", newYork, -18000, -14400},
           {"UTC", utc, 0, 0}}) {
    EXPECT_EQ(ZefaWindowsClock::utcOffsetAt(&info, january), winter) << name;
    EXPECT_EQ(ZefaWindowsClock::utcOffsetAt(&info, july), summer) << name;
  }
}

TEST(ZefaWindowsClock, ReadsTheMachinesTimeAndZone) {
  ZefaWindowsClock clock;
  EXPECT_NEAR(clock.now(), static_cast<double>(std::time(nullptr)), 2.0);
  const int64_t offset = clock.utcOffsetSeconds();
  EXPECT_LE(std::abs(offset), 14 * 3600);
  EXPECT_EQ(offset % 900, 0) << "zones are whole quarter hours";
  TIME_ZONE_INFORMATION current{};
  const DWORD period = GetTimeZoneInformation(&current);
  const LONG bias = current.Bias + (period == TIME_ZONE_ID_DAYLIGHT   ? current.DaylightBias
                                    : period == TIME_ZONE_ID_STANDARD ? current.StandardBias
                                                                      : 0);
  EXPECT_EQ(offset, -60 * static_cast<int64_t>(bias));
}

TEST(ZefaWindowsClock, DrawsWithinBoundsAndReachesEveryValue) {
  ZefaWindowsClock clock;
  EXPECT_EQ(clock.randomUniform(0), 0u);
  EXPECT_EQ(clock.randomUniform(1), 0u);
  for (const uint32_t upper : {2u, 3u, 1000u, 0x80000001u, 0xFFFFFFFFu}) {
    for (int i = 0; i < 200; ++i) EXPECT_LT(clock.randomUniform(upper), upper) << upper;
  }
  std::set<uint32_t> seen;
  for (int i = 0; i < 2000; ++i) seen.insert(clock.randomUniform(10));
  EXPECT_EQ(seen.size(), 10u);
  // Below three quarters of 2^32, plain modulo would put half the draws in the first third.
  int low = 0;
  for (int i = 0; i < 2000; ++i) low += clock.randomUniform(0xC0000000u) < 0x40000000u ? 1 : 0;
  EXPECT_NEAR(low, 667, 100);
}

}  // namespace
