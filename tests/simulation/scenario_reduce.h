// From a scenario that fails to the fewest steps that still do.
#pragma once

#include <functional>

#include "tests/simulation/scenario.h"

// `fails` runs a scenario and answers whether it shows the failure; it is asked
// some hundred times, and must answer the same for the same scenario. No step of
// the answer can be left out, nor its pause.
[[nodiscard]] Scenario reduced(Scenario scenario,
                               const std::function<bool(const Scenario&)>& fails);
