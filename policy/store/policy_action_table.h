// The actions of one port or VLAN record: for a rule, what to write into the
// packets that match it.
#pragma once

#include <cstdint>

#include "policy/store/policy_action.h"
#include "policy/store/policy_binding_table.h"

class PolicyTree;

class PolicyActionTable {
 public:
  using Entries = PolicyBindingTable<PolicyAction>::Entries;

  // Empty. `holder` names the record; both must outlive the table.
  PolicyActionTable(PolicyTree& tree, const PolicyRecordName& holder)
      : _tree(tree), _actions(holder) {}

  // kind 0 (DSCP) takes values to 63, kind 1 (priority) to 7, kind 2 (a
  // two-bit value) to 3. -1, and nothing changes, when the rule has an action
  // here already, there is no such rule or its own action is not 1, kind or
  // value is out of bounds, or memory runs out.
  [[nodiscard]] int set_action(const PolicyBindingKey& key, std::uint32_t kind,
                               std::uint32_t value);
  // -1 when there is none of that key.
  [[nodiscard]] int delete_action(const PolicyBindingKey& key);
  // -1, and kind and value are left alone, when there is none of that key.
  [[nodiscard]] int get_action(const PolicyBindingKey& key, std::uint32_t& kind,
                               std::uint32_t& value) const;
  void clear() { _actions.clear(); }

  // In ascending order of key.
  [[nodiscard]] const Entries& entries() const { return _actions.entries(); }

 private:
  PolicyTree& _tree;
  PolicyBindingTable<PolicyAction> _actions;
};
