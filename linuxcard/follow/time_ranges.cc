#include "linuxcard/follow/time_ranges.h"

std::set<std::string> active_time_ranges(
    const std::map<std::string, TimeRangeValues, std::less<>>& ranges, const LocalMoment& moment) {
  std::set<std::string> active;
  for (const auto& [name, range] : ranges) {
    if (holds_at(range, moment)) active.insert(name);
  }
  return active;
}
