// Virtual time and what is going to happen in it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "framework/base/clock.h"

class SimAgenda {
 public:
  using Event = std::function<void()>;

  // Begins at zero.
  [[nodiscard]] TimePoint now() const { return _now; }
  [[nodiscard]] bool is_empty() const { return _events.empty(); }
  // Meaningful while there is one.
  [[nodiscard]] TimePoint next_time() const { return _events.begin()->first.first; }

  // Events of the same time happen in the order they were entered; a time
  // already past counts as now.
  void at(TimePoint when, Event event);
  // Moves time to the next event and lets it happen.
  void run_next();
  // Moves time on; nothing may be due before.
  void advance_to(TimePoint when);

 private:
  TimePoint _now{};
  std::uint64_t _next_order = 0;
  std::map<std::pair<TimePoint, std::uint64_t>, Event> _events;
};
