// Virtual time and what is going to happen in it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "framework/base/clock.h"

class SimAgenda {
 public:
  using Event = std::function<void()>;

  // Begins at zero.
  [[nodiscard]] TimePoint now() const { return _now; }
  [[nodiscard]] bool is_empty() const { return _entries.empty(); }
  // Meaningful while there is one.
  [[nodiscard]] TimePoint next_time() const { return _entries.front().when; }

  // Events of the same time happen in the order they were entered; a time
  // already past counts as now.
  void at(TimePoint when, Event event);
  // Moves time to the next event and lets it happen.
  void run_next();
  // Moves time on; nothing may be due before.
  void advance_to(TimePoint when);

 private:
  struct Entry {
    TimePoint when;
    std::uint64_t order;
    Event event;
    [[nodiscard]] bool operator<(const Entry& other) const {
      return when != other.when ? when > other.when : order > other.order;
    }
  };

  TimePoint _now{};
  std::uint64_t _next_order = 0;
  std::vector<Entry> _entries;  // a heap, the next one in front
};
