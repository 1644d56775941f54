#include "linuxcard/follow/time_ranges.h"

namespace {

constexpr std::uint32_t HOURS = 24;
constexpr std::uint32_t MINUTES = 60;
constexpr std::uint32_t END_OF_DAY = HOURS * MINUTES;

// Minutes since midnight; hour 24 is the end of the day. False for what no clock shows.
bool read_time(std::uint32_t hour, std::uint32_t minute, std::uint32_t& out) {
  if (hour > HOURS || minute >= MINUTES) return false;
  out = hour * MINUTES + minute;
  return out <= END_OF_DAY;
}

}  // namespace

bool holds_at(const PolicyTimeRangeValues& range, const std::tm& local_time) {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  if (!range.flag || !read_time(range.number1, range.number3, begin) ||
      !read_time(range.number2, range.number4, end)) {
    return false;
  }
  const auto now = static_cast<std::uint32_t>(local_time.tm_hour) * MINUTES +
                   static_cast<std::uint32_t>(local_time.tm_min);
  if (begin == end) return true;
  return begin < end ? now >= begin && now < end : now >= begin || now < end;
}

std::set<std::string> active_time_ranges(
    const std::map<std::string, PolicyTimeRangeValues, std::less<>>& ranges,
    const std::tm& local_time) {
  std::set<std::string> active;
  for (const auto& [name, range] : ranges) {
    if (holds_at(range, local_time)) active.insert(name);
  }
  return active;
}
