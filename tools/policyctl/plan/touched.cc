#include "tools/policyctl/plan/touched.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/plan/find_entry.h"

namespace {

// Collects what one plan touches of its present or its target.
class Touching {
 public:
  Touching(const Plan& plan, const Configuration& whole) : _plan(plan), _whole(whole) {}

  Configuration collect() {
    for (const Change& change : _plan.changes()) add(change);
    // A list that changes its type goes with all its rules, and what changes
    // with a rule is unbound meanwhile.
    for (const Step& step : _plan.steps()) add(step);
    return std::move(_part);
  }

 private:
  void add(const Change& change) { add_to(_part, _whole, change); }

  void add(const Step& step) {
    switch (step.kind) {
      case StepKind::DELETE_ACL:
        return add_whole_acl(_part, _whole, step.key.acl);
      case StepKind::DELETE_FILTER:
        return add({ChangeSign::CHANGED, ChangedEntry::FILTER, step.key, step.record, nullptr});
      case StepKind::UNREMARK:
        return add({ChangeSign::CHANGED, ChangedEntry::REMARK, step.key, step.record, nullptr});
      default:
        return;
    }
  }

  static void add_whole_acl(Configuration& part, const Configuration& whole, std::uint32_t number) {
    const Acl* const acl = find_entry(whole.acls, number);
    if (acl != nullptr) part.acls[number] = *acl;
  }

  static Acl* acl_head(Configuration& part, const Configuration& whole, std::uint32_t number) {
    const Acl* const acl = find_entry(whole.acls, number);
    if (acl == nullptr) return nullptr;
    const auto [at, is_new] = part.acls.try_emplace(number);
    if (is_new) {
      at->second.type = acl->type;
      at->second.description = acl->description;
    }
    return &at->second;
  }

  template <typename Records, typename Key>
  static void add_binding(Records& part, const Records& whole, const Key& name,
                          const Change& change) {
    const Bindings* const bindings = find_entry(whole, name);
    Bindings& record = part[name];
    if (bindings == nullptr) return;
    if (change.entry == ChangedEntry::COS_VALUE) {
      record.cos_value = bindings->cos_value.value_or(0);
    } else if (change.entry == ChangedEntry::REMARK) {
      const Remark* const remark = find_entry(bindings->remarks, change.key);
      if (remark != nullptr) record.remarks[change.key] = *remark;
    } else {
      record.filters = bindings->filters;
    }
  }

  static void add_to(Configuration& part, const Configuration& whole, const Change& change) {
    switch (change.entry) {
      case ChangedEntry::COS_FLAG:
        part.cos.flag = whole.cos.flag;
        return;
      case ChangedEntry::COS_SCHEDULE_MODE:
        part.cos.mode = whole.cos.mode;
        return;
      case ChangedEntry::COS_SCHEDULE_ALGORITHM:
        part.cos.schedule = whole.cos.schedule;
        return;
      case ChangedEntry::COS_PRIORITY:
        part.cos.priority_queues[change.key.rule] = whole.cos.priority_queues.at(change.key.rule);
        return;
      case ChangedEntry::COS_MAPPING:
        part.cos.mapping[change.key.rule] = whole.cos.mapping.at(change.key.rule);
        return;
      case ChangedEntry::TIME_RANGE: {
        const TimeRange* const range = find_entry(whole.time_ranges, *change.name);
        if (range != nullptr) part.time_ranges[*change.name] = *range;
        return;
      }
      case ChangedEntry::ACL:
        acl_head(part, whole, change.key.acl);
        return;
      case ChangedEntry::RULE: {
        Acl* const acl = acl_head(part, whole, change.key.acl);
        const Rule* const rule = find_rule(whole, change.key);
        if (acl != nullptr && rule != nullptr) {
          acl->rules.insert_or_assign(acl->rules.end(), change.key.rule, *rule);
        }
        return;
      }
      default:
        if (change.record.interface != nullptr) {
          add_binding(part.interfaces, whole.interfaces, *change.record.interface, change);
        } else {
          add_binding(part.vlans, whole.vlans, change.record.vlan, change);
        }
    }
  }

  const Plan& _plan;
  const Configuration& _whole;
  Configuration _part;
};

}  // namespace

Touched touched_by(const Plan& plan) {
  return {touched_part(plan, plan.present()), touched_part(plan, plan.target()), {}};
}

Configuration touched_part(const Plan& plan, const Configuration& whole) {
  return Touching(plan, whole).collect();
}
