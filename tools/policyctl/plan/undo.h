// Undoing part of a plan, whatever of it was done and whoever changed something
// else meanwhile.
#pragma once

#include <cstdint>
#include <set>
#include <string>
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
// What policyd refused to create, because somebody else had done so before, is
// not to be undone.
void forget_refused(Touched& touched, const std::vector<Step>& refused);

struct Undo {
  // What the switch is to be so that nothing of the plan is left.
  Configuration target;
  // What somebody else changed since and is therefore left as it is:
  // "acl 10 rule 3".
  std::vector<std::string> left;
};
// `now` must be whole. A statement is put back when it is as the plan made it or
// as it was, or is missing, as it is between the two.
[[nodiscard]] Undo undo(const Touched& touched, const Configuration& now);
