// What the five values of a time range mean. policyd keeps them as they are given and
// leaves their meaning to those who configure; the tools and the data path agree on this
// one.
//
// - With the flag on, a range holds each day from number1 to number2, minutes of the day
//   in the switch's local time, on the weekdays of the mask number3: bit 0 is Monday, bit 6
//   Sunday, and 0 is every day. One that ends no later than it begins passes midnight, and
//   what is behind midnight belongs to the day before. number1 is 0..1439, number2 0..1440.
// - With the flag off, it holds once, from number1 to number2 in seconds since 1970;
//   number3 is 0.
// - number4 is 0.
//
// The beginning belongs to a range, the end does not. Other values mean nothing: such a
// range never holds.
#pragma once

#include <cstdint>
#include <ctime>

struct TimeRangeValues {
  std::uint32_t number1 = 0;
  std::uint32_t number2 = 0;
  bool flag = false;
  std::uint32_t number3 = 0;
  std::uint32_t number4 = 0;
  bool operator==(const TimeRangeValues&) const = default;
};

// A moment as the switch's clock and calendar show it.
struct LocalMoment {
  std::int64_t seconds_since_1970 = 0;
  std::uint32_t minute_of_day = 0;  // 0..1439
  std::uint32_t weekday = 0;        // 0 Monday .. 6 Sunday
};

// In the time zone of this process.
[[nodiscard]] LocalMoment local_moment(std::time_t time);

// Whether `range` holds at `moment`, as told above.
[[nodiscard]] bool holds_at(const TimeRangeValues& range, const LocalMoment& moment);
