// What a port record and a VLAN record have in common: the rules that are
// bound to it as packet filters, and the actions of rules on it.
#pragma once

#include <cstdint>
#include <vector>

#include "policy/store/policy_action_table.h"
#include "policy/store/policy_binding_key.h"
#include "policy/store/policy_binding_table.h"
#include "policy/store/policy_record_name.h"

class PolicyInfo {
 public:
  virtual ~PolicyInfo() = default;
  PolicyInfo(const PolicyInfo&) = delete;
  PolicyInfo& operator=(const PolicyInfo&) = delete;

  // Binds the rule. -1, and nothing changes, when there is no such rule, it is
  // bound here already, or memory runs out.
  [[nodiscard]] int add_filter(const PolicyBindingKey& key);
  // -1, and nothing changes, when there is no such rule or it is not bound here.
  [[nodiscard]] int delete_filter(const PolicyBindingKey& key);
  // Leaves the actions as they are.
  void clear_filters() { _filters.clear(); }
  // Appends the keys of the filters in the order in which they were added.
  void get_filters(std::vector<PolicyBindingKey>& keys) const;

  // Appends the keys of the actions in ascending order.
  void get_action_keys(std::vector<PolicyBindingKey>& keys) const;
  [[nodiscard]] PolicyActionTable& actions() { return _actions; }
  [[nodiscard]] const PolicyActionTable& actions() const { return _actions; }

 protected:
  // The tree must outlive the record.
  PolicyInfo(PolicyTree& tree, PolicyRecordName name)
      : _name(std::move(name)), _filters(_name), _actions(tree, _name), _tree(tree) {}
  [[nodiscard]] const PolicyRecordName& record_name() const { return _name; }

 private:
  const PolicyRecordName _name;
  PolicyBindingTable<std::uint64_t> _filters;  // each with its place in the order of addition
  std::uint64_t _filters_ever_added = 0;
  PolicyActionTable _actions;
  PolicyTree& _tree;
};
