// The bindings of one port or VLAN record, in two tables of this kind: its
// filters and its actions.
//
// Whether a rule or an ACL is used, and by whom, is told by counts that the
// rule and the ACL keep. This class is the only one that changes them, and it
// changes them together with its entries: an entry is in the table exactly as
// long as its rule and its ACL count it. Records come and go with their
// tables, so the counts cannot disagree with the records; and a rule that is
// counted is never deleted, so an entry's rule is always there.
#pragma once

#include <cstdint>

#include "policy/store/packed_map.h"
#include "policy/store/policy_action.h"
#include "policy/store/policy_binding_key.h"
#include "policy/store/policy_record_name.h"

class PolicyAclInfo;
class PolicyRuleInfo;

template <typename Value>
class PolicyBindingTable {
 public:
  struct Binding {
    PolicyRuleInfo* rule = nullptr;
    Value value{};
  };
  using Entries = PackedMap<PolicyBindingKey, Binding>;

  // Empty. `holder` names the record and must outlive the table.
  explicit PolicyBindingTable(const PolicyRecordName& holder) : _holder(holder) {}
  ~PolicyBindingTable() { clear(); }
  PolicyBindingTable(const PolicyBindingTable&) = delete;
  PolicyBindingTable& operator=(const PolicyBindingTable&) = delete;

  // In ascending order of key.
  [[nodiscard]] const Entries& entries() const { return _entries; }
  [[nodiscard]] bool contains(const PolicyBindingKey& key) const {
    return _entries.find(key) != nullptr;
  }
  // Null when there is none; holds until the next change.
  [[nodiscard]] const Value* find(const PolicyBindingKey& key) const {
    const Binding* binding = _entries.find(key);
    return binding == nullptr ? nullptr : &binding->value;
  }

  // `rule` must not be in the table. When memory runs out or a bound of the store would
  // be passed it throws std::bad_alloc and nothing has changed.
  void add(PolicyRuleInfo& rule, const Value& value);
  // False when there is no entry of that key.
  bool remove(const PolicyBindingKey& key) noexcept;
  void clear() noexcept;

 private:
  void count_user(PolicyAclInfo& acl);
  void uncount_user(PolicyAclInfo& acl, std::uint32_t left) noexcept;

  const PolicyRecordName& _holder;
  Entries _entries;
};

// A filter's value is its place in the order of addition.
extern template class PolicyBindingTable<std::uint64_t>;
extern template class PolicyBindingTable<PolicyAction>;
