#include "policy/store/policy_info.h"

#include <algorithm>

#include "policy/store/memory_reserve.h"
#include "policy/store/policytree.h"

int PolicyInfo::add_filter(const PolicyBindingKey& key) {
  PolicyRuleInfo* rule = _tree.find_rule_info(key.acl, key.rule);
  if (rule == nullptr || _filters.contains(key)) return -1;
  return unless_out_of_memory([&] {
    _filters.add(*rule, _filters_ever_added);
    ++_filters_ever_added;
    return 0;
  });
}

int PolicyInfo::delete_filter(const PolicyBindingKey& key) {
  // A rule that does not exist is not bound either. What goes is the matching
  // filter, whatever its place in the order: one that outlived its deletion
  // would keep its rule from ever being deleted.
  return _filters.remove(key) ? 0 : -1;
}

void PolicyInfo::get_filters(std::vector<PolicyBindingKey>& keys) const {
  struct Filter {
    std::uint64_t order;
    PolicyBindingKey key;
  };
  std::vector<Filter> filters;
  filters.reserve(_filters.entries().size());
  for (const auto& [key, filter] : _filters.entries()) filters.push_back({filter.value, key});
  std::sort(filters.begin(), filters.end(),
            [](const Filter& a, const Filter& b) { return a.order < b.order; });
  keys.reserve(keys.size() + filters.size());
  for (const Filter& filter : filters) keys.push_back(filter.key);
}

void PolicyInfo::get_action_keys(std::vector<PolicyBindingKey>& keys) const {
  keys.reserve(keys.size() + _actions.entries().size());
  for (const auto& entry : _actions.entries()) keys.push_back(entry.key);
}
