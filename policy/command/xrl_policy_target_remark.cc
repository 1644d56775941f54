// The commands that attach a value to write into packets to a rule on a port
// or a VLAN.
#include "policy/command/policy_replies.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policytree.h"

using policy_replies::done_or;
using policy_replies::for_every_port;
using policy_replies::with_port;
using policy_replies::with_vlan;

namespace {

XrlCmdError clear_remarks(PolicyInfo& info) {
  info.actions().clear();
  return XrlCmdError::OKAY();
}

XrlCmdError get_remarks(const PolicyInfo& info, XrlAtomList& acl_ids, XrlAtomList& rule_ids,
                        XrlAtomList& kinds, XrlAtomList& values) {
  for (const auto& [key, binding] : info.actions().entries()) {
    acl_ids.append(key.acl);
    rule_ids.append(key.rule);
    kinds.append(binding.value.kind);
    values.append(binding.value.value);
  }
  return XrlCmdError::OKAY();
}

}  // namespace

XrlCmdError XrlPolicyTarget::policy_config_0_1_remark_all_port_priority(std::uint32_t acl_id,
                                                                        std::uint32_t rule_id,
                                                                        std::uint32_t kind,
                                                                        std::uint32_t value) {
  for_every_port(*_policy_tree, [&](PolicyPortInfo& port) {
    (void)port.actions().set_action({acl_id, rule_id}, kind, value);
  });
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_unremark_all_port_priority(std::uint32_t acl_id,
                                                                          std::uint32_t rule_id) {
  for_every_port(*_policy_tree, [&](PolicyPortInfo& port) {
    (void)port.actions().delete_action({acl_id, rule_id});
  });
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_all_port_remark() {
  for_every_port(*_policy_tree, [](PolicyPortInfo& port) { port.actions().clear(); });
  return XrlCmdError::OKAY();
}

// "prioriy" is what callers compare with.

XrlCmdError XrlPolicyTarget::policy_config_0_1_remark_port_priority(std::string_view ifname,
                                                                    std::uint32_t acl_id,
                                                                    std::uint32_t rule_id,
                                                                    std::uint32_t kind,
                                                                    std::uint32_t value) {
  return with_port(*_policy_tree, ifname, [&](PolicyPortInfo& port) {
    return done_or("failed to remark port prioriy.",
                   port.actions().set_action({acl_id, rule_id}, kind, value));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_unremark_port_priority(std::string_view ifname,
                                                                      std::uint32_t acl_id,
                                                                      std::uint32_t rule_id) {
  return with_port(*_policy_tree, ifname, [&](PolicyPortInfo& port) {
    return done_or("failed to unremark port priority.",
                   port.actions().delete_action({acl_id, rule_id}));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_port_remark(std::string_view ifname) {
  return with_port(*_policy_tree, ifname, clear_remarks);
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_port_remark(std::string_view ifname,
                                                               XrlAtomList& acl_ids,
                                                               XrlAtomList& rule_ids,
                                                               XrlAtomList& kinds,
                                                               XrlAtomList& values) {
  return with_port(*_policy_tree, ifname, [&](const PolicyPortInfo& port) {
    return get_remarks(port, acl_ids, rule_ids, kinds, values);
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_remark_vlan_priority(std::uint32_t vlan_id,
                                                                    std::uint32_t acl_id,
                                                                    std::uint32_t rule_id,
                                                                    std::uint32_t kind,
                                                                    std::uint32_t value) {
  return with_vlan(*_policy_tree, vlan_id, [&](PolicyVlanInfo& vlan) {
    return done_or("failed to remark vlan prioriy.",
                   vlan.actions().set_action({acl_id, rule_id}, kind, value));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_unremark_vlan_priority(std::uint32_t vlan_id,
                                                                      std::uint32_t acl_id,
                                                                      std::uint32_t rule_id) {
  return with_vlan(*_policy_tree, vlan_id, [&](PolicyVlanInfo& vlan) {
    return done_or("failed to unremark vlan priority.",
                   vlan.actions().delete_action({acl_id, rule_id}));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_vlan_remark(std::uint32_t vlan_id) {
  return with_vlan(*_policy_tree, vlan_id, clear_remarks);
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_vlan_remark(std::uint32_t vlan_id,
                                                               XrlAtomList& acl_ids,
                                                               XrlAtomList& rule_ids,
                                                               XrlAtomList& kinds,
                                                               XrlAtomList& values) {
  return with_vlan(*_policy_tree, vlan_id, [&](const PolicyVlanInfo& vlan) {
    return get_remarks(vlan, acl_ids, rule_ids, kinds, values);
  });
}
