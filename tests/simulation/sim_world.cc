#include "tests/simulation/sim_world.h"

#include <array>
#include <cinttypes>
#include <cstdio>

namespace {

constexpr std::size_t REPORTED_LINES = 60;

}  // namespace

SimWorld::SimWorld(std::uint64_t seed)
    : _seed(seed),
      _random(seed),
      _trace(_agenda),
      _network(_agenda, _random, _trace),
      _kernel(_agenda, _random, _trace, _network),
      _loop(_kernel, _network) {}

bool SimWorld::run_until(const std::function<bool()>& done, Duration limit) {
  bool is_over = false;
  Timer end(_loop, [&is_over] { is_over = true; });
  end.schedule_at(now() + limit);
  for (;;) {
    if (done()) return true;
    if (is_over) return false;
    _loop.run();
  }
}

void SimWorld::run_for(Duration time) {
  (void)run_until([] { return false; }, time);
}

void SimWorld::agenda_until(TimePoint time) {
  while (next_event() <= time) _agenda.run_next();
  _agenda.advance_to(time);
}

std::string SimWorld::report() const {
  std::array<char, 96> head{};
  std::snprintf(head.data(), head.size(),
                "seed %" PRIu64 ", trace %016" PRIx64 ", %" PRIu64 " events\n", _seed,
                _trace.hash(), _trace.line_count());
  return head.data() + _trace.tail(REPORTED_LINES);
}
