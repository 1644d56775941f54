#include "tests/unit/policyctl/naive_policyd.h"

#include <algorithm>

bool NaivePolicyd::carry_out(const Plan& plan) {
  return std::all_of(plan.steps().begin(), plan.steps().end(),
                     [&](const Step& step) { return carry_out(step); });
}

bool NaivePolicyd::carry_out(const Step& step) {
  const EntryKind* const kind = step.kind;
  if (kind == &FILTER || kind == &REMARK || kind == &COS_VALUE) return carry_out_at_record(step);
  if (kind == &RULE) return carry_out_at_rule(step);
  if (kind == &ACL) return carry_out_at_acl(step);
  if (kind != &TIME_RANGE) return set_class_of_service(step);
  const std::string name(step.key.name.view());
  if (step.verb == Verb::REMOVE) return now.time_ranges.erase(name) == 1;
  return now.time_ranges.emplace(name, time_range_of(step.value)).second;
}

Bindings* NaivePolicyd::record(const EntryKey& key) {
  if (key.name.empty()) {
    const auto at = now.vlans.find(key.numbers[0]);
    return at == now.vlans.end() ? nullptr : &at->second;
  }
  const auto at = now.interfaces.find(key.name.view());
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

bool NaivePolicyd::carry_out_at_record(const Step& step) {
  Bindings* const bound = record(step.key);
  if (bound == nullptr) return false;
  if (step.kind == &COS_VALUE) {
    bound->cos_value = step.value.number(0);
    return true;
  }
  const RuleKey key = bound_rule(step.key);
  const auto filter = std::find(bound->filters.begin(), bound->filters.end(), key);
  const Rule* const rule = find_rule(now, key);
  if (step.kind == &REMARK) {
    if (step.verb == Verb::REMOVE) return bound->remarks.erase(key) == 1;
    return rule != nullptr && rule->action == PERMIT &&
           bound->remarks.emplace(key, remark_of(step.value)).second;
  }
  if (step.verb == Verb::REMOVE) {
    if (filter == bound->filters.end()) return false;
    bound->filters.erase(filter);
    return true;
  }
  if (filter != bound->filters.end() || rule == nullptr) return false;
  bound->filters.push_back(key);
  return true;
}

bool NaivePolicyd::carry_out_at_rule(const Step& step) {
  const RuleKey key = rule_key(step.key);
  const auto acl = now.acls.find(key.acl);
  if (acl == now.acls.end()) return false;
  std::map<std::uint32_t, Rule>& rules = acl->second.rules;
  const auto rule = rules.find(key.rule);
  if (step.verb == Verb::ADD) {
    Rule made = rule_of(step.value);
    made.description.clear();
    return rules.emplace(key.rule, std::move(made)).second;
  }
  if (rule == rules.end()) return false;
  if (step.verb == Verb::REMOVE) {
    if (is_bound(key, false)) return false;
    rules.erase(rule);
  } else {
    rule->second.description = step.value.text();
  }
  return true;
}

bool NaivePolicyd::carry_out_at_acl(const Step& step) {
  const std::uint32_t number = step.key.numbers[0];
  const auto acl = now.acls.find(number);
  if (step.verb == Verb::ADD) {
    return now.acls.emplace(number, Acl{step.value.number(0), "", {}}).second;
  }
  if (acl == now.acls.end()) return false;
  if (step.verb == Verb::REMOVE) {
    if (is_bound({number, 0}, true)) return false;
    now.acls.erase(acl);
  } else {
    acl->second.description = step.value.text();
  }
  return true;
}

bool NaivePolicyd::set_class_of_service(const Step& step) {
  const EntryValue& value = step.value;
  if (step.kind == &COS_FLAG) now.cos.flag = value.number(0) != 0;
  if (step.kind == &COS_SCHEDULE_MODE) now.cos.mode = value.number(0);
  if (step.kind == &COS_SCHEDULE_ALGORITHM) {
    now.cos.schedule = Schedule{
        value.number(0), {value.number(1), value.number(2), value.number(3), value.number(4)}};
  }
  Queues& queues = step.kind == &COS_PRIORITY ? now.cos.priority_queues : now.cos.mapping;
  if (step.kind != &COS_PRIORITY && step.kind != &COS_MAPPING) return true;
  for (const auto& [priority, queue] : queues_of(step)) queues[priority] = queue;
  return true;
}
