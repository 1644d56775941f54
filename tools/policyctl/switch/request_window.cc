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
  _pump.schedule();
}

void RequestWindow::pump() {
  for (std::size_t sent = 0; !_stopped && _in_flight < MAX_IN_FLIGHT; ++sent) {
    if (sent == REQUESTS_PER_TURN) return _pump.schedule();
    const Sent next = _next();
    if (next == Sent::NO_MORE || (next == Sent::NOT_NOW && _in_flight == 0)) _stopped = true;
    if (next != Sent::YES) return;
    ++_in_flight;
  }
}
