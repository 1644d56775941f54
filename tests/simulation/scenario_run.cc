#include "tests/simulation/scenario_run.h"

#include <chrono>

#include "tests/simulation/system_checks.h"
#include "tests/simulation/system_simulation.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Every fault is over by then: the longest is a request that gets no answer
// and is given up after 30 s.
constexpr seconds CALM_LIMIT{180};

void converge(SystemSimulation& system) {
  TimePoint next_check = system.world().now();
  const auto agrees = [&] {
    if (system.world().now() < next_check) return false;
    next_check = system.world().now() + milliseconds(200);
    system_checks::Wrong wrong;
    system_checks::check_agreement(system, wrong);
    return wrong.empty();
  };
  static_cast<void>(system.run_until(agrees, CALM_LIMIT));
}

void check(SystemSimulation& system, std::vector<std::string>& wrong) {
  system_checks::check_agreement(system, wrong);
  if (!wrong.empty()) return;
  system_checks::check_map(system, wrong);
  system_checks::check_bindings(system, wrong);
  system_checks::check_quiet(system, wrong);
  system_checks::check_leftovers(system, wrong);
  // Nothing of all that has changed what it agrees on.
  system_checks::check_agreement(system, wrong);
}

}  // namespace

ScenarioResult run_scenario(const Scenario& scenario) {
  SystemSimulation system(scenario);
  ScenarioResult result;
  try {
    system.live();
    system.calm_down();
    converge(system);
    check(system, result.wrong);
  } catch (const SimStuck& stuck) {
    result.wrong.emplace_back(stuck.what());
  }
  result.report = system.world().report();
  result.trace_hash = system.world().trace().hash();
  result.requests = system.answers().size();
  result.fired = system.fired();
  return result;
}
