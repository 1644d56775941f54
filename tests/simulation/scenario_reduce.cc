#include "tests/simulation/scenario_reduce.h"

#include <algorithm>
#include <cstddef>

namespace {

using Fails = std::function<bool(const Scenario&)>;

// Whether it fails without `count` steps from `first` on, which are then gone.
bool leave_out(Scenario& scenario, std::size_t first, std::size_t count, const Fails& fails) {
  Scenario shorter = scenario;
  const auto begin = shorter.steps.begin() + static_cast<std::ptrdiff_t>(first);
  shorter.steps.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
  if (!fails(shorter)) return false;
  scenario = std::move(shorter);
  return true;
}

// Runs of `count` steps, from the last to the first. Whether any could go.
bool leave_out_runs(Scenario& scenario, std::size_t count, const Fails& fails) {
  bool any = false;
  for (std::size_t end = scenario.steps.size(); end >= count; --end) {
    if (!leave_out(scenario, end - count, count, fails)) continue;
    any = true;
    end = std::min(end - count + 1, scenario.steps.size() + 1);
    if (end == 0) break;
  }
  return any;
}

void shorten_pauses(Scenario& scenario, const Fails& fails) {
  for (std::size_t i = 0; i < scenario.steps.size(); ++i) {
    Scenario shorter = scenario;
    shorter.steps[i].pause = {};
    if (scenario.steps[i] != shorter.steps[i] && fails(shorter)) scenario = std::move(shorter);
  }
}

}  // namespace

Scenario reduced(Scenario scenario, const Fails& fails) {
  Scenario steady = scenario;
  steady.steady = true;
  if (fails(steady)) scenario = std::move(steady);
  for (std::size_t count = scenario.steps.size() / 2; count > 1; count /= 2) {
    static_cast<void>(leave_out_runs(scenario, count, fails));
  }
  do {
    while (leave_out_runs(scenario, 1, fails)) {
    }
    shorten_pauses(scenario, fails);
  } while (leave_out_runs(scenario, 1, fails));
  return scenario;
}
