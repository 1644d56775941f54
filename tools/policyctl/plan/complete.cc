#include "tools/policyctl/plan/complete.h"

#include <algorithm>
#include <set>
#include <utility>

namespace {

void complete_class_of_service(ClassOfService& wanted, const ClassOfService& rest) {
  if (!wanted.flag) wanted.flag = rest.flag;
  if (!wanted.mode) wanted.mode = rest.mode;
  if (!wanted.schedule) wanted.schedule = rest.schedule;
  wanted.priority_queues.insert(rest.priority_queues.begin(), rest.priority_queues.end());
  wanted.mapping.insert(rest.mapping.begin(), rest.mapping.end());
}

// Whether `wanted` can be made of `present` by leaving filters out.
bool is_in_order(const std::vector<RuleKey>& wanted, const std::vector<RuleKey>& present) {
  auto next = wanted.begin();
  for (const RuleKey& key : present) {
    if (next != wanted.end() && *next == key) ++next;
  }
  return next == wanted.end();
}

std::vector<RuleKey> complete_filters(const std::vector<RuleKey>& wanted,
                                      const std::vector<RuleKey>& present) {
  if (is_in_order(wanted, present)) return present;
  const std::set<RuleKey> named(wanted.begin(), wanted.end());
  std::vector<RuleKey> complete;
  const auto is_named = [&named](const RuleKey& key) { return named.contains(key); };
  const bool only_more_behind = [&] {
    std::vector<RuleKey> there;
    std::copy_if(present.begin(), present.end(), std::back_inserter(there), is_named);
    return there.size() <= wanted.size() && std::equal(there.begin(), there.end(), wanted.begin());
  }();
  if (only_more_behind) {
    complete = present;
    const std::set<RuleKey> has(present.begin(), present.end());
    std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(complete),
                 [&has](const RuleKey& key) { return !has.contains(key); });
    return complete;
  }
  std::remove_copy_if(present.begin(), present.end(), std::back_inserter(complete), is_named);
  complete.insert(complete.end(), wanted.begin(), wanted.end());
  return complete;
}

void complete_bindings(Bindings& wanted, const Bindings& present) {
  wanted.filters = complete_filters(wanted.filters, present.filters);
  wanted.remarks.insert(present.remarks.begin(), present.remarks.end());
  if (!wanted.cos_value) wanted.cos_value = present.cos_value;
}

template <typename Records>
void complete_records(Records& wanted, const Records& present, Unnamed unnamed) {
  for (const auto& [name, bindings] : present) {
    Bindings& record = wanted[name];
    if (unnamed == Unnamed::KEPT) {
      complete_bindings(record, bindings);
    } else if (!record.cos_value && bindings.cos_value) {
      record.cos_value = 0;
    }
  }
}

}  // namespace

Configuration complete(Configuration wanted, const Configuration& present, Unnamed unnamed) {
  const bool kept = unnamed == Unnamed::KEPT;
  complete_class_of_service(wanted.cos, kept ? present.cos : default_class_of_service());
  complete_records(wanted.interfaces, present.interfaces, unnamed);
  complete_records(wanted.vlans, present.vlans, unnamed);
  if (!kept) return wanted;
  wanted.time_ranges.insert(present.time_ranges.begin(), present.time_ranges.end());
  for (const auto& [number, acl] : present.acls) {
    const auto [at, is_new] = wanted.acls.try_emplace(number, acl);
    if (!is_new) at->second.rules.insert(acl.rules.begin(), acl.rules.end());
  }
  return wanted;
}
