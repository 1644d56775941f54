#include "policy/store/policy_binding_table.h"

#include <new>
#include <string>

#include "framework/base/xlog.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policytree.h"
#include "policy/store/store_bounds.h"

template <typename Value>
void PolicyBindingTable<Value>::add(PolicyRuleInfo& rule, const Value& value) {
  StoreAccount& stored = rule.tree().stored();
  const bool has_room = _entries.size() < store_bounds::MAX_LISTED &&
                        stored.has_room_for(store_bounds::BINDING_BYTES);
  if (!has_room) throw std::bad_alloc();
  _entries.insert(rule.key(), {&rule, value});
  try {
    count_user(rule.acl());
  } catch (...) {
    _entries.erase(rule.key());
    throw;
  }
  ++rule._bindings;
  stored.add(store_bounds::BINDING_BYTES);
}

template <typename Value>
bool PolicyBindingTable<Value>::remove(const PolicyBindingKey& key) noexcept {
  const Binding* binding = _entries.find(key);
  if (binding == nullptr) return false;
  PolicyRuleInfo& rule = *binding->rule;
  _entries.erase(key);
  --rule._bindings;
  rule.tree().stored().remove(store_bounds::BINDING_BYTES);
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
    acl.tree().stored().remove(left * store_bounds::BINDING_BYTES);
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
