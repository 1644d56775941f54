// Undoing part of a plan, whatever of it was done and whoever changed something
// else meanwhile.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/plan/touched.h"

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
