#include "tests/simulation/sim_world_kernel.h"

#include <algorithm>
#include <utility>

SimKernel::SimKernel(SimAgenda& agenda, SimRandom& random, SimTrace& trace, SimNetwork& network)
    : _agenda(agenda), _random(random), _trace(trace), _network(network) {}

void SimKernel::watch(int fd, IoInterest interest) {
  _network.set_watched(fd, interest != IoInterest::NONE);
  if (interest == IoInterest::NONE) {
    _watched.erase(fd);
  } else {
    _watched[fd] = interest;
  }
}

std::size_t SimKernel::wait(TimePoint until, std::span<IoReady> ready) {
  count_wait();
  const bool has_limit = until != NEVER;
  const TimePoint limit = std::max(until, _agenda.now());
  for (;;) {
    let_due_events_happen();
    const std::size_t count = report_ready(ready);
    if (count != 0) return count;
    const bool has_event = !_agenda.is_empty();
    if (has_event && (!has_limit || _agenda.next_time() <= limit)) {
      _agenda.run_next();
    } else if (has_limit) {
      _agenda.advance_to(limit);
      return 0;
    } else {
      stuck("nothing is going to happen any more, yet the system waits for ever");
    }
  }
}

void SimKernel::count_wait() {
  if (std::exchange(_last_wait, _agenda.now()) != _agenda.now()) _waits_at_one_time = 0;
  if (++_waits_at_one_time > MAX_WAITS_AT_ONE_TIME) stuck("the system is busy without end");
}

void SimKernel::let_due_events_happen() {
  while (!_agenda.is_empty() && _agenda.next_time() <= _agenda.now()) _agenda.run_next();
}

std::size_t SimKernel::report_ready(std::span<IoReady> ready) {
  std::vector<IoReady> found;
  for (const auto& [fd, interest] : _watched) {
    const auto both =
        static_cast<unsigned>(interest) & static_cast<unsigned>(_network.readiness(fd));
    if (both != 0) found.push_back({fd, static_cast<IoInterest>(both)});
  }
  _random.shuffle(std::span(found));
  const std::size_t count = std::min(found.size(), ready.size());
  std::copy_n(found.begin(), count, ready.begin());
  return count;
}

void SimKernel::stuck(const std::string& reason) const {
  throw SimStuck("simulation stuck: " + reason + "; the last events were\n" + _trace.tail(20));
}
