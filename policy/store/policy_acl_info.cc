#include "policy/store/policy_acl_info.h"

#include "policy/store/ordered_records.h"

int PolicyAclInfo::create_rule(std::uint32_t rule, std::uint32_t action,
                               const PolicyFieldValues& values) {
  if (action > PolicyRuleInfo::MAX_ACTION || !values.is_complete()) return -1;
  return insert_record(_rules, rule, [&] {
    return std::make_unique<PolicyRuleInfo>(*_tree, *this, rule, action, PolicyRuleFields(values));
  });
}

int PolicyAclInfo::delete_rule(std::uint32_t rule) {
  const PolicyRuleInfo* info = find_rule(rule);
  if (info == nullptr) return -1;
  // Its end tells whether it is bound, its beginning is needed to free it: often
  // two cache lines, which are waited for together.
  __builtin_prefetch(info);
  if (info->is_bound()) return -1;
  return erase_record(_rules, rule);
}

PolicyRuleInfo* PolicyAclInfo::find_rule(std::uint32_t rule) const {
  return find_record(_rules, rule);
}

void PolicyAclInfo::get_rule_ids(std::vector<std::uint32_t>& ids) const {
  append_keys(_rules, ids);
}
