// The meaning of a time range's five values, which policyd keeps as they are given: each
// day from hour number1, minute number3, to hour number2, minute number4, of local time,
// while the flag is on. "22 6 on 0 0" is the night; one that ends when it begins lasts the
// whole day. With the flag off, or numbers that no clock shows, it never holds.
#pragma once

#include <ctime>
#include <map>
#include <set>
#include <string>

#include "linuxcard/follow/policy_snapshot.h"

[[nodiscard]] bool holds_at(const PolicyTimeRangeValues& range, const std::tm& local_time);

// The names of those that hold.
[[nodiscard]] std::set<std::string> active_time_ranges(
    const std::map<std::string, PolicyTimeRangeValues, std::less<>>& ranges,
    const std::tm& local_time);
