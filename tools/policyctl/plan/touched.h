// What a plan touches of a switch.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/plan/plan.h"

// What the statements that a plan touches were and were to become, and nothing
// else: what a journal keeps. A list of rules whose head the plan does not touch
// is in both as it is. A filter list is whole, and so the same in both when it
// is not touched but its record is.
struct Touched {
  Configuration before;
  Configuration after;
  // Lists whose heads are somebody else's, though the plan was to make them.
  std::set<std::uint32_t> foreign_acls;
};
[[nodiscard]] Touched touched_by(const Plan& plan);
// One side of it: of the plan's present, `before`; of its target, `after`.
[[nodiscard]] Configuration touched_part(const Plan& plan, const Configuration& whole);
// What policyd refused to create, because somebody else had done so before, is
// not to be undone.
void forget_refused(Touched& touched, const std::vector<Step>& refused);
