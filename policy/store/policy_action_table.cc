#include "policy/store/policy_action_table.h"

#include "common/switch_vocabulary.h"
#include "policy/store/memory_reserve.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policytree.h"

int PolicyActionTable::set_action(const PolicyBindingKey& key, std::uint32_t kind,
                                  std::uint32_t value) {
  if (_actions.contains(key)) return -1;
  PolicyRuleInfo* rule = _tree.find_rule_info(key.acl, key.rule);
  if (rule == nullptr || rule->action() != PolicyRuleInfo::ACTION_REMARKABLE) return -1;
  if (kind >= MAX_REMARKS.size() || value > MAX_REMARKS[kind]) return -1;
  return unless_out_of_memory([&] {
    _actions.add(*rule, {kind, value});
    return 0;
  });
}

int PolicyActionTable::delete_action(const PolicyBindingKey& key) {
  return _actions.remove(key) ? 0 : -1;
}

int PolicyActionTable::get_action(const PolicyBindingKey& key, std::uint32_t& kind,
                                  std::uint32_t& value) const {
  const PolicyAction* action = _actions.find(key);
  if (action == nullptr) return -1;
  kind = action->kind;
  value = action->value;
  return 0;
}
