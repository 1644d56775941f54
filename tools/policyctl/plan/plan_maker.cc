#include "tools/policyctl/plan/plan_maker.h"

#include <algorithm>
#include <set>

#include "tools/policyctl/plan/find_entry.h"

namespace {

const Bindings NOTHING_BOUND;

// Calls `visit(name, before, after)` for each record of either.
template <typename Visit>
void for_each_record(const Configuration& present, const Configuration& target, Visit visit) {
  for (const auto& [name, before] : present.interfaces) {
    const Bindings* const after = find_entry(target.interfaces, name);
    visit(RecordName{&name, 0}, before, after == nullptr ? NOTHING_BOUND : *after);
  }
  for (const auto& [name, after] : target.interfaces) {
    if (!present.interfaces.contains(name)) visit(RecordName{&name, 0}, NOTHING_BOUND, after);
  }
  for (const auto& [id, before] : present.vlans) {
    const Bindings* const after = find_entry(target.vlans, id);
    visit(RecordName{nullptr, id}, before, after == nullptr ? NOTHING_BOUND : *after);
  }
  for (const auto& [id, after] : target.vlans) {
    if (!present.vlans.contains(id)) visit(RecordName{nullptr, id}, NOTHING_BOUND, after);
  }
}

}  // namespace

void PlanMaker::make() {
  compare_acls();
  unbind();
  remove_rules();
  remove_time_ranges();
  create_time_ranges();
  create_acls();
  bind();
  set_class_of_service();
}

void PlanMaker::compare_acls() {
  for (const auto& [number, before] : _present.acls) {
    const Acl* const after = find_entry(_target.acls, number);
    if (after == nullptr || after->type != before.type) {
      _acls_that_go.insert(number);
    } else {
      compare_rules(number, before, *after);
    }
  }
}

void PlanMaker::compare_rules(std::uint32_t number, const Acl& before, const Acl& after) {
  auto next = after.rules.begin();
  for (const auto& [rule_number, rule] : before.rules) {
    while (next != after.rules.end() && next->first < rule_number) ++next;
    const bool stays =
        next != after.rules.end() && next->first == rule_number && next->second.acts_like(rule);
    if (!stays) _rules_that_go.insert(_rules_that_go.end(), {number, rule_number});
  }
}

bool PlanMaker::loses_its_rule(const RuleKey& key) const {
  return _acls_that_go.contains(key.acl) || _rules_that_go.contains(key);
}

std::size_t PlanMaker::kept_filters(const Bindings& before, const Bindings& after) const {
  std::size_t kept = 0;
  for (const RuleKey& key : before.filters) {
    if (kept == after.filters.size()) break;
    if (key == after.filters[kept] && !loses_its_rule(key)) ++kept;
  }
  return kept;
}

void PlanMaker::unbind() {
  for_each_record(_present, _target,
                  [this](const RecordName& record, const Bindings& before, const Bindings& after) {
                    unbind_record(record, before, after);
                  });
}

void PlanMaker::unbind_record(const RecordName& record, const Bindings& before,
                              const Bindings& after) {
  if (!before.filters.empty()) {
    const std::size_t kept = kept_filters(before, after);
    const bool same = before.filters == after.filters;
    const std::set<RuleKey> wanted =
        same ? std::set<RuleKey>() : std::set<RuleKey>(after.filters.begin(), after.filters.end());
    std::size_t next_kept = 0;
    for (const RuleKey& key : before.filters) {
      if (next_kept < kept && key == after.filters[next_kept]) {
        ++next_kept;
        continue;
      }
      step(StepKind::DELETE_FILTER, key, record);
      if (!same && !wanted.contains(key)) {
        change(ChangeSign::REMOVED, ChangedEntry::FILTER, key, record);
      }
    }
  }
  for (const auto& [key, remark] : before.remarks) {
    const Remark* const wanted = find_entry(after.remarks, key);
    if (wanted != nullptr && *wanted == remark && !loses_its_rule(key)) continue;
    step(StepKind::UNREMARK, key, record);
    if (wanted == nullptr) change(ChangeSign::REMOVED, ChangedEntry::REMARK, key, record);
  }
}

void PlanMaker::remove_rules() {
  for (const RuleKey& key : _rules_that_go) {
    step(StepKind::DELETE_RULE, key);
    if (find_rule(_target, key) == nullptr) {
      change(ChangeSign::REMOVED, ChangedEntry::RULE, key);
    }
  }
  for (const std::uint32_t number : _acls_that_go) {
    step(StepKind::DELETE_ACL, {number, 0});
    if (_target.acls.contains(number)) continue;
    for (const auto& [rule_number, rule] : _present.acls.at(number).rules) {
      change(ChangeSign::REMOVED, ChangedEntry::RULE, {number, rule_number});
    }
    change(ChangeSign::REMOVED, ChangedEntry::ACL, {number, 0});
  }
}

void PlanMaker::remove_time_ranges() {
  for (const auto& [name, before] : _present.time_ranges) {
    const TimeRange* const after = find_entry(_target.time_ranges, name);
    if (after != nullptr && *after == before) continue;
    step(StepKind::DELETE_TIME_RANGE, {}, {}, &name);
    if (after == nullptr) {
      change(ChangeSign::REMOVED, ChangedEntry::TIME_RANGE, {}, {}, &name);
    }
  }
}

void PlanMaker::create_time_ranges() {
  for (const auto& [name, after] : _target.time_ranges) {
    const TimeRange* const before = find_entry(_present.time_ranges, name);
    if (before != nullptr && *before == after) continue;
    step(StepKind::CREATE_TIME_RANGE, {}, {}, &name);
    change(before == nullptr ? ChangeSign::ADDED : ChangeSign::CHANGED, ChangedEntry::TIME_RANGE,
           {}, {}, &name);
  }
}

void PlanMaker::create_acls() {
  for (const auto& [number, after] : _target.acls) {
    const Acl* const before = find_entry(_present.acls, number);
    const RuleKey key{number, 0};
    const bool comes = before == nullptr || _acls_that_go.contains(number);
    if (comes) step(StepKind::CREATE_ACL, key);
    if (before == nullptr) {
      change(ChangeSign::ADDED, ChangedEntry::ACL, key);
    } else if (before->type != after.type || before->description != after.description) {
      change(ChangeSign::CHANGED, ChangedEntry::ACL, key);
    }
    describe_acl(number, comes ? std::string() : before->description, after.description);
    create_rules(number, before, after);
  }
}

void PlanMaker::describe_acl(std::uint32_t number, const std::string& before,
                             const std::string& after) {
  if (before == after) return;
  step(after.empty() ? StepKind::UNSET_ACL_DESCRIPTION : StepKind::SET_ACL_DESCRIPTION,
       {number, 0});
}

void PlanMaker::create_rules(std::uint32_t number, const Acl* before, const Acl& after) {
  const bool all_come = before == nullptr || _acls_that_go.contains(number);
  for (const auto& [rule_number, rule] : after.rules) {
    const RuleKey key{number, rule_number};
    const Rule* const old = before == nullptr ? nullptr : find_entry(before->rules, rule_number);
    const bool comes = all_come || old == nullptr || _rules_that_go.contains(key);
    if (comes) step(StepKind::CREATE_RULE, key);
    if (old == nullptr || *old != rule) {
      change(old == nullptr ? ChangeSign::ADDED : ChangeSign::CHANGED, ChangedEntry::RULE, key);
    }
    const std::string& described = comes ? std::string() : old->description;
    if (described == rule.description) continue;
    step(rule.description.empty() ? StepKind::UNSET_RULE_DESCRIPTION
                                  : StepKind::SET_RULE_DESCRIPTION,
         key);
  }
}

void PlanMaker::bind() {
  for_each_record(_present, _target,
                  [this](const RecordName& record, const Bindings& before, const Bindings& after) {
                    bind_record(record, before, after);
                  });
}

void PlanMaker::bind_record(const RecordName& record, const Bindings& before,
                            const Bindings& after) {
  const std::uint32_t old_value = before.cos_value.value_or(0);
  if (after.cos_value.value_or(old_value) != old_value) {
    step(StepKind::SET_COS_VALUE, {}, record);
    change(ChangeSign::CHANGED, ChangedEntry::COS_VALUE, {}, record);
  }
  const std::size_t kept = kept_filters(before, after);
  if (kept < after.filters.size()) {
    const std::set<RuleKey> old(before.filters.begin(), before.filters.end());
    bool moved = false;
    for (std::size_t i = kept; i < after.filters.size(); ++i) {
      const RuleKey& key = after.filters[i];
      step(StepKind::ADD_FILTER, key, record);
      if (!old.contains(key)) {
        change(ChangeSign::ADDED, ChangedEntry::FILTER, key, record);
      } else if (!loses_its_rule(key)) {
        moved = true;
      }
    }
    if (moved && before.filters != after.filters) {
      change(ChangeSign::CHANGED, ChangedEntry::FILTER_ORDER, {}, record);
    }
  }
  for (const auto& [key, remark] : after.remarks) {
    const Remark* const old = find_entry(before.remarks, key);
    if (old != nullptr && *old == remark && !loses_its_rule(key)) continue;
    step(StepKind::REMARK, key, record);
    if (old == nullptr) {
      change(ChangeSign::ADDED, ChangedEntry::REMARK, key, record);
    } else if (*old != remark) {
      change(ChangeSign::CHANGED, ChangedEntry::REMARK, key, record);
    }
  }
}

void PlanMaker::set_class_of_service() {
  const ClassOfService& before = _present.cos;
  const ClassOfService& after = _target.cos;
  const auto set = [this](StepKind kind, ChangedEntry entry) {
    step(kind);
    change(ChangeSign::CHANGED, entry);
  };
  if (after.flag != before.flag) set(StepKind::SET_COS_FLAG, ChangedEntry::COS_FLAG);
  if (after.mode != before.mode) set(StepKind::SET_SCHEDULE_MODE, ChangedEntry::COS_SCHEDULE_MODE);
  if (after.schedule != before.schedule) {
    set(StepKind::SET_SCHEDULE_ALGORITHM, ChangedEntry::COS_SCHEDULE_ALGORITHM);
  }
  const auto set_queues = [this](const auto& old, const auto& wanted, StepKind kind,
                                 ChangedEntry entry) {
    if (old == wanted) return;
    step(kind);
    for (const auto& [priority, queue] : wanted) {
      const std::uint32_t* const queue_before = find_entry(old, priority);
      if (queue_before == nullptr || *queue_before != queue) {
        change(ChangeSign::CHANGED, entry, {0, priority});
      }
    }
  };
  set_queues(before.priority_queues, after.priority_queues, StepKind::SET_PRIORITY_QUEUES,
             ChangedEntry::COS_PRIORITY);
  set_queues(before.mapping, after.mapping, StepKind::SET_COS_MAPPING, ChangedEntry::COS_MAPPING);
}
