// A scenario from its beginning to its end.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/simulation/scenario.h"

struct ScenarioResult {
  std::vector<std::string> wrong;  // empty: all is well
  std::string report;              // seed, hash and the last events
  std::uint64_t trace_hash = 0;
  std::size_t requests = 0;  // of the operator
  std::array<std::uint64_t, STEP_KINDS> fired{};
};

// Steps of a scenario that is drawn from a seed.
inline constexpr int STEPS_OF_A_SEED = 300;

[[nodiscard]] ScenarioResult run_scenario(const Scenario& scenario);
