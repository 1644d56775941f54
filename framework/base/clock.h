// Time as the event loop counts it: monotonic, in nanoseconds, with no
// relation to the calendar. Only the kernel seam reads the machine's clock.
#pragma once

#include <chrono>

using Duration = std::chrono::nanoseconds;

// Tag of the time line; it has no now() on purpose: ask the event loop.
struct MonotonicClock {
  using rep = Duration::rep;
  using period = Duration::period;
  using duration = Duration;
  using time_point = std::chrono::time_point<MonotonicClock>;
  static constexpr bool is_steady = true;
};

using TimePoint = MonotonicClock::time_point;
