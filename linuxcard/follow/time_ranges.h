// Which of policyd's time ranges hold.
#pragma once

#include <map>
#include <set>
#include <string>

#include "common/time_range.h"

// The names of those that hold at a moment.
[[nodiscard]] std::set<std::string> active_time_ranges(
    const std::map<std::string, TimeRangeValues, std::less<>>& ranges, const LocalMoment& moment);
