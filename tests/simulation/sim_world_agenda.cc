#include "tests/simulation/sim_world_agenda.h"

#include <algorithm>
#include <utility>

#include "framework/base/xlog.h"

void SimAgenda::at(TimePoint when, Event event) {
  _entries.push_back({std::max(when, _now), _next_order++, std::move(event)});
  std::push_heap(_entries.begin(), _entries.end());
}

void SimAgenda::run_next() {
  std::pop_heap(_entries.begin(), _entries.end());
  const Entry entry = std::move(_entries.back());
  _entries.pop_back();
  _now = entry.when;
  entry.event();
}

void SimAgenda::advance_to(TimePoint when) {
  XLOG_ASSERT(is_empty() || when <= next_time(), std::string("an event would be left out"));
  _now = std::max(_now, when);
}
