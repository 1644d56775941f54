// The commands that bind rules to ports and VLANs as packet filters.
#include <vector>

#include "policy/command/policy_replies.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policytree.h"

using policy_replies::done_or;
using policy_replies::for_every_port;
using policy_replies::with_port;
using policy_replies::with_vlan;

namespace {

XrlCmdError clear_filters(PolicyInfo& info) {
  info.clear_filters();
  return XrlCmdError::OKAY();
}

// In the order in which the filters were added.
XrlCmdError get_filters(const PolicyInfo& info, XrlAtomList& acls, XrlAtomList& rules) {
  std::vector<PolicyBindingKey> keys;
  info.get_filters(keys);
  for (const PolicyBindingKey& key : keys) {
    acls.append(key.acl);
    rules.append(key.rule);
  }
  return XrlCmdError::OKAY();
}

}  // namespace

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_all_ports_packet_filter(std::uint32_t acl,
                                                                           std::uint32_t rule) {
  for_every_port(*_policy_tree, [&](PolicyPortInfo& port) { (void)port.add_filter({acl, rule}); });
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_port_packet_filter(std::string_view ifname,
                                                                      std::uint32_t acl,
                                                                      std::uint32_t rule) {
  return with_port(*_policy_tree, ifname, [&](PolicyPortInfo& port) {
    return done_or("failed to set port packet filter.", port.add_filter({acl, rule}));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_vlan_packet_filter(std::uint32_t vlan,
                                                                      std::uint32_t acl,
                                                                      std::uint32_t rule) {
  return with_vlan(*_policy_tree, vlan, [&](PolicyVlanInfo& info) {
    return done_or("failed to set vlan packet filter.", info.add_filter({acl, rule}));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_delete_all_ports_packet_filter(std::uint32_t acl,
                                                                              std::uint32_t rule) {
  for_every_port(*_policy_tree, [&](PolicyPortInfo& port) {
    (void)port.delete_filter({acl, rule});
  });
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_delete_port_packet_filter(std::string_view ifname,
                                                                         std::uint32_t acl,
                                                                         std::uint32_t rule) {
  return with_port(*_policy_tree, ifname, [&](PolicyPortInfo& port) {
    return done_or("failed to delete port packet filter.", port.delete_filter({acl, rule}));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_delete_vlan_packet_filter(std::uint32_t vlan,
                                                                         std::uint32_t acl,
                                                                         std::uint32_t rule) {
  return with_vlan(*_policy_tree, vlan, [&](PolicyVlanInfo& info) {
    return done_or("failed to delete vlan packet filter.", info.delete_filter({acl, rule}));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_all_packet_filters() {
  // All that needs memory comes before the first change.
  std::vector<std::uint32_t> vlans;
  _policy_tree->get_vlan_ids(vlans);
  for_every_port(*_policy_tree, [](PolicyPortInfo& port) { port.clear_filters(); });
  for (const std::uint32_t vlan : vlans) _policy_tree->find_vlan(vlan)->clear_filters();
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_port_packet_filters(std::string_view ifname) {
  return with_port(*_policy_tree, ifname, clear_filters);
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_vlan_packet_filters(std::uint32_t vlan) {
  return with_vlan(*_policy_tree, vlan, clear_filters);
}

// Of the lists to be filled the one asks for three, the other for two that
// are equally long. The third stays empty.

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_port_packet_filters(std::string_view ifname,
                                                                       XrlAtomList& acls,
                                                                       XrlAtomList& rules,
                                                                       XrlAtomList& extras) {
  if (acls.size() != rules.size() || acls.size() != extras.size()) {
    return XrlCmdError::BAD_ARGS("bad acl and rule.");
  }
  return with_port(*_policy_tree, ifname,
                   [&](const PolicyPortInfo& port) { return get_filters(port, acls, rules); });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_vlan_packet_filters(std::uint32_t vlan,
                                                                       XrlAtomList& acls,
                                                                       XrlAtomList& rules,
                                                                       XrlAtomList& /*extras*/) {
  if (acls.size() != rules.size()) return XrlCmdError::BAD_ARGS("bad acl and rule.");
  return with_vlan(*_policy_tree, vlan,
                   [&](const PolicyVlanInfo& info) { return get_filters(info, acls, rules); });
}
