// RetryTimer: when to try again what failed. The first time soon, then after
// twice the delay before, up to a longest one; a success starts over.
#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

#include "framework/base/event_loop.h"

class RetryTimer {
 public:
  static constexpr std::chrono::milliseconds FIRST{100};
  static constexpr std::chrono::milliseconds LONGEST{5000};

  // `retry` runs once for each time failed() started the wait.
  RetryTimer(EventLoop& loop, Timer::Callback retry, Duration first = FIRST,
             Duration longest = LONGEST)
      : _timer(loop, std::move(retry)), _first(first), _longest(longest), _delay(first) {}

  // Starts the wait; several failures while it lasts count as one.
  void failed() {
    if (_timer.is_armed()) return;
    _timer.schedule_after(_delay);
    _delay = std::min(2 * _delay, _longest);
  }
  // Tries in the next turn, whether a wait runs or not; the next wait is as long as ever.
  void try_now() { _timer.schedule_after(Duration(0)); }
  // Of the waits that begin after the next one.
  void set_longest(Duration longest) { _longest = longest; }
  // The next wait is the shortest again; one that runs goes on.
  void succeeded() { _delay = _first; }
  // Ends a wait without trying again; the next one is the shortest again.
  void cancel() {
    _timer.cancel();
    _delay = _first;
  }
  [[nodiscard]] bool is_waiting() const { return _timer.is_armed(); }

 private:
  Timer _timer;
  Duration _first;
  Duration _longest;
  Duration _delay;
};
