// The commands on time ranges, ACLs and rules.
#include <vector>

#include "framework/xrl/limits.h"
#include "policy/command/policy_replies.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policytree.h"
#include "policy/store/store_bounds.h"

using policy_replies::done_or;
using policy_replies::OUT_OF_MEMORY;
using policy_replies::with_acl;
using policy_replies::with_rule;

// What may be stored can be listed: with 4 KiB for the rest of a reply, and remarks as
// four lists of numbers.
static_assert(store_bounds::MAX_LISTED_BYTES + 4096 <= xrl_limits::MAX_REPLY_BYTES);
static_assert(store_bounds::MAX_LISTED * 16 + 4096 <= xrl_limits::MAX_REPLY_BYTES);
static_assert(store_bounds::MAX_LISTED <= xrl_limits::MAX_LIST_ELEMENTS);
// A rule is one request, and its description one text.
static_assert(xrl_limits::MAX_FRAME_BYTES + xrl_limits::MAX_TEXT_BYTES + 4096 <=
              xrl_limits::MAX_REPLY_BYTES);

XrlCmdError XrlPolicyTarget::policy_config_0_1_create_time_range(std::string_view name,
                                                                 std::uint32_t number1,
                                                                 std::uint32_t number2, bool flag,
                                                                 std::uint32_t number3,
                                                                 std::uint32_t number4) {
  return done_or("failed to create time range.",
                 _policy_tree->create_time_range(name, number1, number2, flag, number3, number4));
}

// The store never refuses it; the text stands for one that would.
XrlCmdError XrlPolicyTarget::policy_config_0_1_delete_time_range(std::string_view name) {
  return done_or("failed to delete time range.", _policy_tree->delete_time_range(name));
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_clear_time_ranges() {
  _policy_tree->clear_time_ranges();
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_time_range(std::string_view name,
                                                              std::uint32_t& number1,
                                                              std::uint32_t& number2, bool& flag,
                                                              std::uint32_t& number3,
                                                              std::uint32_t& number4) {
  const PolicyTimeRange* range = _policy_tree->find_time_range(name);
  if (range == nullptr) return XrlCmdError::COMMAND_FAILED("time range does not exist.");
  number1 = range->number1;
  number2 = range->number2;
  flag = range->flag != 0;
  number3 = range->number3;
  number4 = range->number4;
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_time_ranges(
    XrlAtomList& names, XrlAtomList& number1s, XrlAtomList& number2s, XrlAtomList& flags,
    XrlAtomList& number3s, XrlAtomList& number4s) {
  std::vector<const PolicyTimeRange*> ranges;
  _policy_tree->get_time_ranges(ranges);
  for (const PolicyTimeRange* range : ranges) {
    names.append(range->name);
    number1s.append(range->number1);
    number2s.append(range->number2);
    flags.append(range->flag);
    number3s.append(range->number3);
    number4s.append(range->number4);
  }
  return XrlCmdError::OKAY();
}

// The texts of a refused ACL end without a full stop, and a refused rule is
// told as an ACL: operators' tools compare them as they are.

XrlCmdError XrlPolicyTarget::policy_config_0_1_create_acl(std::uint32_t acl, std::uint32_t type) {
  return done_or("failed to create acl", _policy_tree->create_acl(acl, type));
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_acls(XrlAtomList& acls, XrlAtomList& types,
                                                        XrlAtomList& descriptions) {
  std::vector<std::uint32_t> ids;
  _policy_tree->get_acl_ids(ids);
  for (const std::uint32_t id : ids) {
    const PolicyAclInfo* acl = _policy_tree->find_acl(id);
    acls.append(id);
    types.append(acl->type());
    descriptions.append(acl->description());
  }
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_delete_acl(std::uint32_t acl) {
  return done_or("failed to delete acl", _policy_tree->delete_acl(acl));
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_acl_description(std::uint32_t acl,
                                                                   std::string_view description) {
  return with_acl(*_policy_tree, acl, [&](PolicyAclInfo& info) {
    return done_or(OUT_OF_MEMORY, info.set_description(description));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_acl_description(std::uint32_t acl,
                                                                   std::string& description) {
  return with_acl(*_policy_tree, acl, [&](const PolicyAclInfo& info) {
    description = info.description();
    return XrlCmdError::OKAY();
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_unset_acl_description(std::uint32_t acl) {
  return policy_config_0_1_set_acl_description(acl, "");
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_create_rule(std::uint32_t acl, std::uint32_t rule,
                                                           std::uint32_t action,
                                                           const XrlAtomList& flags,
                                                           const XrlAtomList& values) {
  return with_acl(*_policy_tree, acl, [&](PolicyAclInfo& info) {
    if (flags.size() != values.size()) return XrlCmdError::BAD_ARGS("bad flags and values.");
    return done_or("failed to create acl.",
                   info.create_rule(rule, action, flags.u32s(), values.texts()));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_delete_rule(std::uint32_t acl, std::uint32_t rule) {
  return with_acl(*_policy_tree, acl, [&](PolicyAclInfo& info) {
    return done_or("failed to delete rule.", info.delete_rule(rule));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_rule_description(std::uint32_t acl,
                                                                    std::uint32_t rule,
                                                                    std::string_view description) {
  return with_rule(*_policy_tree, acl, rule, [&](PolicyRuleInfo& info) {
    return done_or(OUT_OF_MEMORY, info.set_description(description));
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_unset_rule_description(std::uint32_t acl,
                                                                      std::uint32_t rule) {
  return policy_config_0_1_set_rule_description(acl, rule, "");
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_rule_description(std::uint32_t acl,
                                                                    std::uint32_t rule,
                                                                    std::string& description) {
  return with_rule(*_policy_tree, acl, rule, [&](const PolicyRuleInfo& info) {
    description = info.description();
    return XrlCmdError::OKAY();
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_rules(std::uint32_t acl, XrlAtomList& rules,
                                                         std::uint32_t& type) {
  return with_acl(*_policy_tree, acl, [&](const PolicyAclInfo& info) {
    std::vector<std::uint32_t> ids;
    info.get_rule_ids(ids);
    for (const std::uint32_t id : ids) rules.append(id);
    type = info.type();
    return XrlCmdError::OKAY();
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_rule(std::uint32_t acl, std::uint32_t rule,
                                                        std::uint32_t& action,
                                                        std::string& description,
                                                        XrlAtomList& flags, XrlAtomList& values) {
  return with_rule(*_policy_tree, acl, rule, [&](const PolicyRuleInfo& info) {
    action = info.action();
    description = info.description();
    for (const PolicyRuleFields::Field& field : info.fields()) {
      flags.append(field.number);
      values.append(field.value);
    }
    return XrlCmdError::OKAY();
  });
}
