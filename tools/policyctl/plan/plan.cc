#include "tools/policyctl/plan/plan.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tools/policyctl/plan/plan_maker.h"

namespace {

Queues changed_queues(const Queues& present, const Queues& target) {
  Queues changed;
  std::set_difference(target.begin(), target.end(), present.begin(), present.end(),
                      std::inserter(changed, changed.end()));
  return changed;
}

}  // namespace

Plan::Plan(const Configuration& present, Configuration target,
           const std::set<std::uint32_t>& told_in_any_case)
    : _present(&present),
      _target(std::move(target)),
      _priority_queues(changed_queues(present.cos.priority_queues, _target.cos.priority_queues)),
      _mapping(changed_queues(present.cos.mapping, _target.cos.mapping)) {
  const bool changes_mapping = !_mapping.empty();
  PlanMaker maker(present, _target);
  maker.make();
  _steps = std::move(maker.steps());
  _changes = std::move(maker.changes());
  for (const std::uint32_t priority : told_in_any_case) {
    _mapping[priority] = _target.cos.mapping.at(priority);
  }
  if (!_mapping.empty() && !changes_mapping) {
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
