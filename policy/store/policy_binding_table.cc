#include "policy/store/policy_binding_table.h"

#include <string>

#include "framework/base/xlog.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_rule_info.h"

template <typename Value>
void PolicyBindingTable<Value>::add(PolicyRuleInfo& rule, const Value& value) {
  _entries.insert(rule.key(), {&rule, value});
  try {
    count_user(rule.acl());
  } catch (...) {
    _entries.erase(rule.key());
    throw;
  }
  ++rule._bindings;
}

template <typename Value>
bool PolicyBindingTable<Value>::remove(const PolicyBindingKey& key) noexcept {
  const Binding* binding = _entries.find(key);
  if (binding == nullptr) return false;
  PolicyRuleInfo& rule = *binding->rule;
  _entries.erase(key);
  --rule._bindings;
  uncount_user(rule.acl(), 1);
  return true;
}

template <typename Value>
void PolicyBindingTable<Value>::clear() noexcept {
  for (auto at = _entries.begin(); at != _entries.end();) {
    // The entries of one ACL lie side by side and leave it together.
    PolicyAclInfo& acl = (*at).value.rule->acl();
    std::uint32_t left = 0;
    for (; at != _entries.end() && (*at).key.acl == acl.id(); ++at, ++left) {
      --(*at).value.rule->_bindings;
    }
    uncount_user(acl, left);
  }
  _entries.clear();
}

template <typename Value>
void PolicyBindingTable<Value>::count_user(PolicyAclInfo& acl) {
  if (std::uint32_t* held = acl._users.find(&_holder)) {
    ++*held;
  } else {
    acl._users.insert(&_holder, 1);
  }
}

template <typename Value>
void PolicyBindingTable<Value>::uncount_user(PolicyAclInfo& acl, std::uint32_t left) noexcept {
  std::uint32_t* held = acl._users.find(&_holder);
  XLOG_ASSERT(held != nullptr && *held >= left, "acl " + std::to_string(acl.id()));
  *held -= left;
  if (*held == 0) acl._users.erase(&_holder);
}

template class PolicyBindingTable<std::uint64_t>;
template class PolicyBindingTable<PolicyAction>;
