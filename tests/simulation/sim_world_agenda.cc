#include "tests/simulation/sim_world_agenda.h"

#include <algorithm>

#include "framework/base/xlog.h"

void SimAgenda::at(TimePoint when, Event event) {
  _events.emplace(std::pair(std::max(when, _now), _next_order++), std::move(event));
}

void SimAgenda::run_next() {
  auto event = _events.extract(_events.begin());
  _now = event.key().first;
  event.mapped()();
}

void SimAgenda::advance_to(TimePoint when) {
  XLOG_ASSERT(is_empty() || when <= next_time(), std::string("an event would be left out"));
  _now = std::max(_now, when);
}
