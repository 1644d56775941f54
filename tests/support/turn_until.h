// Waiting on a real event loop, for as long as a test may.
#pragma once

#include <functional>

#include "framework/base/event_loop.h"
#include "tests/support/patience.h"

// Turns the loop until `done` answers true (asked before each turn); false past
// PATIENCE.
[[nodiscard]] inline bool turn_until(EventLoop& loop, const std::function<bool()>& done) {
  bool late = false;
  Timer limit(loop, [&late] { late = true; });
  limit.schedule_after(PATIENCE);
  while (!done()) {
    if (late) return false;
    loop.run();
  }
  return true;
}
