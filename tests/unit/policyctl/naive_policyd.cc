#include "tests/unit/policyctl/naive_policyd.h"

#include <algorithm>

bool NaivePolicyd::carry_out(const Plan& plan) {
  return std::all_of(plan.steps().begin(), plan.steps().end(),
                     [&](const Step& step) { return carry_out(step, plan); });
}

bool NaivePolicyd::carry_out(const Step& step, const Plan& plan) {
  const Configuration& target = plan.target();
  switch (step.kind) {
    case StepKind::DELETE_FILTER:
    case StepKind::UNREMARK:
    case StepKind::ADD_FILTER:
    case StepKind::REMARK:
    case StepKind::SET_COS_VALUE:
      return carry_out_at_record(step, target);
    case StepKind::DELETE_TIME_RANGE:
      return now.time_ranges.erase(*step.name) == 1;
    case StepKind::CREATE_TIME_RANGE:
      return now.time_ranges.emplace(*step.name, target.time_ranges.at(*step.name)).second;
    case StepKind::DELETE_RULE:
    case StepKind::CREATE_RULE:
    case StepKind::SET_RULE_DESCRIPTION:
    case StepKind::UNSET_RULE_DESCRIPTION:
      return carry_out_at_rule(step, target);
    case StepKind::DELETE_ACL:
    case StepKind::CREATE_ACL:
    case StepKind::SET_ACL_DESCRIPTION:
    case StepKind::UNSET_ACL_DESCRIPTION:
      return carry_out_at_acl(step, target);
    default:
      return set_class_of_service(step.kind, plan);
  }
}

Bindings* NaivePolicyd::record(const RecordName& name) {
  if (name.interface == nullptr) {
    const auto at = now.vlans.find(name.vlan);
    return at == now.vlans.end() ? nullptr : &at->second;
  }
  const auto at = now.interfaces.find(*name.interface);
  return at == now.interfaces.end() ? nullptr : &at->second;
}

bool NaivePolicyd::is_bound(const RuleKey& key, bool whole_acl) const {
  const auto holds = [&](const auto& entry) {
    const auto is_it = [&](const RuleKey& bound) {
      return bound.acl == key.acl && (whole_acl || bound.rule == key.rule);
    };
    const Bindings& bound = entry.second;
    return std::any_of(bound.filters.begin(), bound.filters.end(), is_it) ||
           std::any_of(bound.remarks.begin(), bound.remarks.end(),
                       [&](const auto& remark) { return is_it(remark.first); });
  };
  return std::any_of(now.interfaces.begin(), now.interfaces.end(), holds) ||
         std::any_of(now.vlans.begin(), now.vlans.end(), holds);
}

bool NaivePolicyd::carry_out_at_record(const Step& step, const Configuration& target) {
  Bindings* const bound = record(step.record);
  if (bound == nullptr) return false;
  const auto filter = std::find(bound->filters.begin(), bound->filters.end(), step.key);
  const Rule* const rule = find_rule(now, step.key);
  const Bindings& wanted = step.record.interface != nullptr
                               ? target.interfaces.at(*step.record.interface)
                               : target.vlans.at(step.record.vlan);
  switch (step.kind) {
    case StepKind::DELETE_FILTER:
      if (filter == bound->filters.end()) return false;
      bound->filters.erase(filter);
      return true;
    case StepKind::ADD_FILTER:
      if (filter != bound->filters.end() || rule == nullptr) return false;
      bound->filters.push_back(step.key);
      return true;
    case StepKind::UNREMARK:
      return bound->remarks.erase(step.key) == 1;
    case StepKind::REMARK:
      return rule != nullptr && rule->action == PERMIT &&
             bound->remarks.emplace(step.key, wanted.remarks.at(step.key)).second;
    default:
      bound->cos_value = wanted.cos_value;
      return true;
  }
}

bool NaivePolicyd::carry_out_at_rule(const Step& step, const Configuration& target) {
  const auto acl = now.acls.find(step.key.acl);
  if (acl == now.acls.end()) return false;
  std::map<std::uint32_t, Rule>& rules = acl->second.rules;
  const auto rule = rules.find(step.key.rule);
  if (step.kind == StepKind::CREATE_RULE) {
    Rule made = target.acls.at(step.key.acl).rules.at(step.key.rule);
    made.description.clear();
    return rules.emplace(step.key.rule, std::move(made)).second;
  }
  if (rule == rules.end()) return false;
  if (step.kind == StepKind::DELETE_RULE) {
    if (is_bound(step.key, false)) return false;
    rules.erase(rule);
  } else if (step.kind == StepKind::SET_RULE_DESCRIPTION) {
    rule->second.description = target.acls.at(step.key.acl).rules.at(step.key.rule).description;
  } else {
    rule->second.description.clear();
  }
  return true;
}

bool NaivePolicyd::carry_out_at_acl(const Step& step, const Configuration& target) {
  const auto acl = now.acls.find(step.key.acl);
  if (step.kind == StepKind::CREATE_ACL) {
    return now.acls.emplace(step.key.acl, Acl{target.acls.at(step.key.acl).type, "", {}}).second;
  }
  if (acl == now.acls.end()) return false;
  if (step.kind == StepKind::DELETE_ACL) {
    if (is_bound(step.key, true)) return false;
    now.acls.erase(acl);
  } else if (step.kind == StepKind::SET_ACL_DESCRIPTION) {
    acl->second.description = target.acls.at(step.key.acl).description;
  } else {
    acl->second.description.clear();
  }
  return true;
}

bool NaivePolicyd::set_class_of_service(StepKind kind, const Plan& plan) {
  const ClassOfService& target = plan.target().cos;
  const auto set_queues = [](Queues& queues, const Queues& wanted) {
    for (const auto& [priority, queue] : wanted) queues[priority] = queue;
  };
  if (kind == StepKind::SET_COS_FLAG) now.cos.flag = target.flag;
  if (kind == StepKind::SET_SCHEDULE_MODE) now.cos.mode = target.mode;
  if (kind == StepKind::SET_SCHEDULE_ALGORITHM) now.cos.schedule = target.schedule;
  if (kind == StepKind::SET_PRIORITY_QUEUES)
    set_queues(now.cos.priority_queues, plan.priority_queues());
  if (kind == StepKind::SET_COS_MAPPING) set_queues(now.cos.mapping, plan.mapping());
  return true;
}
