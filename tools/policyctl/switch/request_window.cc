#include "tools/policyctl/switch/request_window.h"

#include <utility>

void RequestWindow::run(SendNext next) {
  _next = std::move(next);
  _session.heard();
  pump();
  // What could not be queued with nothing in flight will not be later.
  const auto is_over = [this] { return _in_flight == 0 && _stopped; };
  if (_whom) return _session.wait(_what, is_over, _whom);
  _session.wait(_what, is_over);
}

void RequestWindow::answered() {
  --_in_flight;
  _session.heard_this_turn();
  pump();
}

void RequestWindow::pump() {
  if (_pumping) return;
  _pumping = true;
  while (!_stopped && _in_flight < MAX_IN_FLIGHT) {
    const Sent sent = _next();
    if (sent == Sent::YES) {
      ++_in_flight;
      continue;
    }
    if (sent == Sent::NO_MORE || _in_flight == 0) _stopped = true;
    break;
  }
  _pumping = false;
}
