#include "policy/policy_acl_info.h"

#include <new>
#include <utility>

int PolicyAclInfo::create_rule(std::uint32_t rule, std::uint32_t action,
                               std::span<const std::uint32_t> flags,
                               std::span<const std::string_view> values) {
  if (action > PolicyRuleInfo::MAX_ACTION || find_rule(rule) != nullptr) return -1;
  try {
    auto info = std::make_unique<PolicyRuleInfo>(*_tree, *this, rule, action);
    if (info->set_fields(flags, values) != 0) return -1;
    _rules.insert(rule, std::move(info));
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return 0;
}

int PolicyAclInfo::delete_rule(std::uint32_t rule) {
  const PolicyRuleInfo* info = find_rule(rule);
  if (info == nullptr || info->is_bound()) return -1;
  _rules.erase(rule);
  return 0;
}

PolicyRuleInfo* PolicyAclInfo::find_rule(std::uint32_t rule) const {
  const auto* info = _rules.find(rule);
  return info == nullptr ? nullptr : info->get();
}

void PolicyAclInfo::get_rule_ids(std::vector<std::uint32_t>& ids) const {
  ids.reserve(ids.size() + _rules.size());
  for (const auto& entry : _rules) ids.push_back(entry.key);
}
