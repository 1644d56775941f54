// What the command handlers have in common: look-ups that end in a refusal
// when there is nothing to find, and replies to what a store answered.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/xrl_error.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policy_vlan_info.h"
#include "policy/store/policytree.h"

namespace policy_replies {

// For a command that can fail in no other way.
inline constexpr const char* OUT_OF_MEMORY = "out of memory.";

// OKAY for a store's 0, otherwise the refusal.
[[nodiscard]] inline XrlCmdError done_or(const char* refusal, int result) {
  return result == 0 ? XrlCmdError::OKAY() : XrlCmdError::COMMAND_FAILED(refusal);
}

// Each runs `handle` on the record and answers what it answers, or refuses
// because the record is missing.

template <typename Handle>
[[nodiscard]] XrlCmdError with_acl(const PolicyTree& tree, std::uint32_t id, Handle handle) {
  PolicyAclInfo* acl = tree.find_acl(id);
  if (acl == nullptr) return XrlCmdError::COMMAND_FAILED("the acl does not exist.");
  return handle(*acl);
}

template <typename Handle>
[[nodiscard]] XrlCmdError with_rule(const PolicyTree& tree, std::uint32_t acl_id,
                                    std::uint32_t rule_id, Handle handle) {
  return with_acl(tree, acl_id, [&](const PolicyAclInfo& acl) {
    PolicyRuleInfo* rule = acl.find_rule(rule_id);
    if (rule == nullptr) return XrlCmdError::COMMAND_FAILED("the rule does not exist.");
    return handle(*rule);
  });
}

template <typename Handle>
[[nodiscard]] XrlCmdError with_port(const PolicyTree& tree, std::string_view name, Handle handle) {
  PolicyPortInfo* port = tree.find_port(name);
  if (port == nullptr) return XrlCmdError::COMMAND_FAILED("the interface does not exist.");
  return handle(*port);
}

template <typename Handle>
[[nodiscard]] XrlCmdError with_vlan(const PolicyTree& tree, std::uint32_t id, Handle handle) {
  PolicyVlanInfo* vlan = tree.find_vlan(id);
  if (vlan == nullptr) return XrlCmdError::COMMAND_FAILED("the vlan does not exist.");
  return handle(*vlan);
}

// Runs `action` on every port in ascending order of name. What one port
// refuses does not keep the others from it.
template <typename Action>
void for_every_port(const PolicyTree& tree, Action action) {
  std::vector<std::string> names;
  tree.get_port_names(names);
  for (const std::string& name : names) {
    if (PolicyPortInfo* port = tree.find_port(name)) action(*port);
  }
}

}  // namespace policy_replies
