#include "common/time_range.h"

namespace {

constexpr std::uint32_t DAYS = 7;
constexpr std::uint32_t MINUTES_OF_HOUR = 60;
constexpr std::uint32_t MINUTES_OF_DAY = 24 * MINUTES_OF_HOUR;
constexpr std::uint32_t ALL_DAYS = (1U << DAYS) - 1;

bool is_daily(const TimeRangeValues& range) {
  return range.flag && range.number1 < MINUTES_OF_DAY && range.number2 <= MINUTES_OF_DAY &&
         range.number3 <= ALL_DAYS && range.number4 == 0;
}

bool is_once(const TimeRangeValues& range) {
  return !range.flag && range.number3 == 0 && range.number4 == 0;
}

bool begins_on(const TimeRangeValues& range, std::uint32_t weekday) {
  return range.number3 == 0 || ((range.number3 >> weekday) & 1U) != 0;
}

bool holds_daily_at(const TimeRangeValues& range, const LocalMoment& moment) {
  const std::uint32_t minute = moment.minute_of_day;
  if (range.number1 < range.number2) {
    return minute >= range.number1 && minute < range.number2 && begins_on(range, moment.weekday);
  }
  const std::uint32_t day_before = (moment.weekday + DAYS - 1) % DAYS;
  return (minute >= range.number1 && begins_on(range, moment.weekday)) ||
         (minute < range.number2 && begins_on(range, day_before));
}

}  // namespace

LocalMoment local_moment(std::time_t time) {
  std::tm parts{};
  localtime_r(&time, &parts);
  // The C library counts weekdays from Sunday.
  return {.seconds_since_1970 = time,
          .minute_of_day = static_cast<std::uint32_t>(parts.tm_hour) * MINUTES_OF_HOUR +
                           static_cast<std::uint32_t>(parts.tm_min),
          .weekday = (static_cast<std::uint32_t>(parts.tm_wday) + DAYS - 1) % DAYS};
}

bool holds_at(const TimeRangeValues& range, const LocalMoment& moment) {
  if (is_daily(range)) return holds_daily_at(range, moment);
  return is_once(range) && moment.seconds_since_1970 >= std::int64_t{range.number1} &&
         moment.seconds_since_1970 < std::int64_t{range.number2};
}
