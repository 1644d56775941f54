#include "tools/policyctl/plan/plan.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/plan/plan_maker.h"

Plan::Plan(const Configuration& present, Configuration target, Mapping mapping)
    : _present(&present), _target(std::move(target)) {
  PlanMaker maker(present, _target);
  maker.make();
  _steps = std::move(maker.steps());
  _changes = std::move(maker.changes());
  const bool tells_line_cards = !_steps.empty() && _steps.back().kind == StepKind::SET_COS_MAPPING;
  if (mapping == Mapping::IN_ANY_CASE && !tells_line_cards) {
    _steps.push_back({StepKind::SET_COS_MAPPING, {}, {}, nullptr});
  }
}

PlanCounts Plan::counts() const {
  PlanCounts counts;
  for (const Change& change : _changes) {
    switch (change.sign) {
      case ChangeSign::ADDED:
        ++counts.added;
        break;
      case ChangeSign::CHANGED:
        ++counts.changed;
        break;
      case ChangeSign::REMOVED:
        ++counts.removed;
        break;
    }
  }
  return counts;
}
