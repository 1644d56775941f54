#include "common/time_range.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

constexpr std::uint32_t MONDAY = 0;
constexpr std::uint32_t FRIDAY = 4;
constexpr std::uint32_t SATURDAY = 5;
constexpr std::uint32_t SUNDAY = 6;

constexpr std::uint32_t minute(std::uint32_t hour, std::uint32_t minute = 0) {
  return hour * 60 + minute;
}

constexpr std::uint32_t on(std::uint32_t weekday) {
  return 1U << weekday;
}

LocalMoment at(std::uint32_t weekday, std::uint32_t minute_of_day) {
  return {0, minute_of_day, weekday};
}

LocalMoment at_second(std::int64_t seconds) {
  return {seconds, 0, MONDAY};
}

// The process's time zone, as long as this lives.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* before = std::getenv("TZ")) _before = before;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZone() {
    if (_before.empty()) {
      unsetenv("TZ");
    } else {
      setenv("TZ", _before.c_str(), 1);
    }
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  std::string _before;
};

TEST(DailyTimeRange, HoldsFromItsFirstMinuteToTheOneBeforeItsEnd) {
  const TimeRangeValues office{minute(8, 30), minute(17), true, 0, 0};
  EXPECT_FALSE(holds_at(office, at(MONDAY, minute(8, 29))));
  EXPECT_TRUE(holds_at(office, at(MONDAY, minute(8, 30))));
  EXPECT_TRUE(holds_at(office, at(SUNDAY, minute(16, 59))));
  EXPECT_FALSE(holds_at(office, at(MONDAY, minute(17))));
}

TEST(DailyTimeRange, HoldsOnTheWeekdaysOfItsMaskAlone) {
  const TimeRangeValues weekend{0, minute(24), true, on(SATURDAY) | on(SUNDAY), 0};
  EXPECT_FALSE(holds_at(weekend, at(FRIDAY, minute(23, 59))));
  EXPECT_TRUE(holds_at(weekend, at(SATURDAY, 0)));
  EXPECT_TRUE(holds_at(weekend, at(SUNDAY, minute(23, 59))));
  EXPECT_FALSE(holds_at(weekend, at(MONDAY, 0)));
}

TEST(DailyTimeRange, MayPassMidnight) {
  const TimeRangeValues night{minute(22), minute(6), true, 0, 0};
  EXPECT_FALSE(holds_at(night, at(MONDAY, minute(21, 59))));
  EXPECT_TRUE(holds_at(night, at(MONDAY, minute(22))));
  EXPECT_TRUE(holds_at(night, at(MONDAY, 0)));
  EXPECT_TRUE(holds_at(night, at(MONDAY, minute(5, 59))));
  EXPECT_FALSE(holds_at(night, at(MONDAY, minute(6))));
}

TEST(DailyTimeRange, BelongsBehindMidnightToTheDayOnWhichItBegan) {
  const TimeRangeValues friday{minute(22), minute(6), true, on(FRIDAY), 0};
  EXPECT_FALSE(holds_at(friday, at(FRIDAY, minute(5))));
  EXPECT_TRUE(holds_at(friday, at(FRIDAY, minute(22))));
  EXPECT_TRUE(holds_at(friday, at(SATURDAY, minute(5))));
  EXPECT_FALSE(holds_at(friday, at(SATURDAY, minute(22))));
  const TimeRangeValues sunday{minute(22), minute(6), true, on(SUNDAY), 0};
  EXPECT_TRUE(holds_at(sunday, at(MONDAY, minute(5))));
}

TEST(DailyTimeRange, ThatEndsWhenItBeginsLastsADay) {
  const TimeRangeValues range{minute(12), minute(12), true, on(FRIDAY), 0};
  EXPECT_FALSE(holds_at(range, at(FRIDAY, minute(11, 59))));
  EXPECT_TRUE(holds_at(range, at(FRIDAY, minute(12))));
  EXPECT_TRUE(holds_at(range, at(SATURDAY, minute(11, 59))));
  EXPECT_FALSE(holds_at(range, at(SATURDAY, minute(12))));
}

TEST(DailyTimeRange, NeverHoldsWithValuesThatMeanNothing) {
  EXPECT_FALSE(holds_at({1440, 1440, true, 0, 0}, at(MONDAY, 0)));
  EXPECT_FALSE(holds_at({0, 1441, true, 0, 0}, at(MONDAY, 0)));
  EXPECT_FALSE(holds_at({0, 1440, true, 128, 0}, at(MONDAY, 0)));
  EXPECT_FALSE(holds_at({0, 1440, true, 0, 1}, at(MONDAY, 0)));
}

TEST(SingleTimeRange, HoldsFromItsFirstSecondToTheOneBeforeItsEnd) {
  const TimeRangeValues change{1'700'000'000, 4'294'967'295, false, 0, 0};
  EXPECT_FALSE(holds_at(change, at_second(1'699'999'999)));
  EXPECT_TRUE(holds_at(change, at_second(1'700'000'000)));
  EXPECT_TRUE(holds_at(change, at_second(4'294'967'294)));
  EXPECT_FALSE(holds_at(change, at_second(4'294'967'295)));
}

TEST(SingleTimeRange, NeverHoldsWithValuesThatMeanNothing) {
  EXPECT_FALSE(holds_at({100, 100, false, 0, 0}, at_second(100)));
  EXPECT_FALSE(holds_at({200, 100, false, 0, 0}, at_second(150)));
  EXPECT_FALSE(holds_at({0, 100, false, 1, 0}, at_second(50)));
  EXPECT_FALSE(holds_at({0, 100, false, 0, 1}, at_second(50)));
}

// 2024-02-29 was a Thursday; 1709251199 is its last second in UTC.
TEST(LocalMomentOf, KnowsLeapDays) {
  const TimeZone zone("UTC0");
  const LocalMoment last = local_moment(1'709'251'199);
  EXPECT_EQ(last.minute_of_day, minute(23, 59));
  EXPECT_EQ(last.weekday, FRIDAY - 1);
  EXPECT_EQ(local_moment(1'709'251'200).weekday, FRIDAY);
  EXPECT_EQ(local_moment(1'709'251'200).minute_of_day, 0U);
}

// In Central Europe the hour from two to three is left out on the last Sunday of March.
TEST(LocalMomentOf, FollowsDaylightSavingTime) {
  const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(local_moment(1'711'846'799).minute_of_day, minute(1, 59));
  EXPECT_EQ(local_moment(1'711'846'800).minute_of_day, minute(3));
  EXPECT_EQ(local_moment(1'711'846'800).weekday, SUNDAY);
}

}  // namespace
