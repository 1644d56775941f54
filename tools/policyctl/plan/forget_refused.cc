#include <algorithm>

#include "tools/policyctl/plan/touched.h"

namespace {

void forget_binding(Bindings& after, const Bindings& before, const Step& step) {
  const auto had = [&](const RuleKey& key) {
    return std::find(before.filters.begin(), before.filters.end(), key) != before.filters.end();
  };
  if (step.kind == StepKind::REMARK) {
    if (!before.remarks.contains(step.key)) after.remarks.erase(step.key);
  } else if (!had(step.key)) {
    std::erase(after.filters, step.key);
  }
}

void forget_refused(Touched& touched, const Step& step) {
  const Configuration& before = touched.before;
  Configuration& after = touched.after;
  switch (step.kind) {
    case StepKind::CREATE_ACL:
      if (!before.acls.contains(step.key.acl)) touched.foreign_acls.insert(step.key.acl);
      break;
    case StepKind::CREATE_RULE:
      if (find_rule(before, step.key) == nullptr) {
        after.acls[step.key.acl].rules.erase(step.key.rule);
      }
      break;
    case StepKind::CREATE_TIME_RANGE:
      if (!before.time_ranges.contains(*step.name)) after.time_ranges.erase(*step.name);
      break;
    case StepKind::ADD_FILTER:
    case StepKind::REMARK:
      if (step.record.interface != nullptr) {
        const std::string& name = *step.record.interface;
        forget_binding(after.interfaces.at(name), before.interfaces.at(name), step);
      } else {
        forget_binding(after.vlans.at(step.record.vlan), before.vlans.at(step.record.vlan), step);
      }
      break;
    default:
      break;
  }
}

}  // namespace

// What the plan was to replace may have been refused because the old one, ours,
// was still there.
void forget_refused(Touched& touched, const std::vector<Step>& refused) {
  for (const Step& step : refused) forget_refused(touched, step);
}
