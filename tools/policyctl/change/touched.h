// What a plan touches of a switch.
#pragma once

#include <set>
#include <vector>

#include "tools/policyctl/change/difference.h"
#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/language/configuration.h"

// What the entries that a plan touches were and were to become, with the heads that
// they stand below, and nothing else: what a journal keeps. An order is whole.
struct Touched {
  WantedConfiguration before;
  WantedConfiguration after;
  // Heads that are somebody else's, though the plan was to make them.
  std::set<EntryKey> foreign;
};
[[nodiscard]] Touched touched_by(const Plan& plan);
// One side of it: of the plan's present, `before`; of its target, `after`.
[[nodiscard]] WantedConfiguration touched_part(const Plan& plan, const SwitchConfiguration& whole);
// What policyd refused to create, because somebody else had done so before, is
// not to be undone.
void forget_refused(Touched& touched, const std::vector<Step>& refused);

// What the switch is to be so that nothing of the plan is left, and what somebody else
// changed since and is therefore left as it is.
[[nodiscard]] inline Difference undo(const Touched& touched, const SwitchConfiguration& now) {
  return carry_over(touched.after, touched.before, now, OnClash::LEAVE, touched.foreign);
}
