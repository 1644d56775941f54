// The commands on the class-of-service store; the one that reaches the line
// cards, set_cos_mapping, stands with the target's other requests.
#include <vector>

#include "common/switch_vocabulary.h"
#include "policy/command/list_arguments.h"
#include "policy/command/policy_replies.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policyconfig.h"

using policy_replies::with_port;

namespace {

// What the table has for each key; queue 0 for a key that it has not.
void append_queues(const PolicyConfig& config,
                   int (PolicyConfig::*get)(std::uint32_t, std::uint32_t&) const,
                   const XrlAtomList& keys, XrlAtomList& queues) {
  for (const std::uint32_t key : keys.u32s()) {
    std::uint32_t queue = 0;
    (config.*get)(key, queue);
    queues.append(queue);
  }
}

// A pair whose key the table does not hold is skipped.
void set_queues(PolicyConfig& config, int (PolicyConfig::*set)(std::uint32_t, std::uint32_t),
                const XrlAtomList& keys, const XrlAtomList& queues) {
  for (std::size_t i = 0; i < keys.size(); ++i) (config.*set)(keys.u32_at(i), queues.u32_at(i));
}

}  // namespace

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_cos_flag(bool flag) {
  _policy_config->set_cos_flag(flag);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_cos_flag(bool& flag) {
  flag = _policy_config->cos_flag();
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_schedule_mode(std::uint32_t mode) {
  if (mode > MAX_SCHEDULE_MODE) return XrlCmdError::BAD_ARGS("bad mode.");
  _policy_config->set_mode(mode);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_schedule_mode(std::uint32_t& mode) {
  mode = _policy_config->mode();
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_port_cos_value(std::string_view ifname,
                                                                  std::uint32_t value) {
  return with_port(*_policy_tree, ifname, [&](PolicyPortInfo& port) {
    port.port_cos_value = value;
    return XrlCmdError::OKAY();
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_port_cos_value(std::string_view ifname,
                                                                  std::uint32_t& value) {
  return with_port(*_policy_tree, ifname, [&](const PolicyPortInfo& port) {
    value = port.port_cos_value;
    return XrlCmdError::OKAY();
  });
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_cos_mapping(const XrlAtomList& priorities,
                                                               XrlAtomList& queues) {
  if (!are_all_within(priorities, MAX_PRIORITY)) return XrlCmdError::BAD_ARGS("bad priority.");
  append_queues(*_policy_config, &PolicyConfig::get_cos_mapping, priorities, queues);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_dscp_queue(const XrlAtomList& dscps,
                                                              const XrlAtomList& queues) {
  if (!are_queue_pairs(dscps, MAX_DSCP, queues)) {
    return XrlCmdError::BAD_ARGS("bad dscp and queue.");
  }
  set_queues(*_policy_config, &PolicyConfig::set_dscp_queue, dscps, queues);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_dscp_queue(const XrlAtomList& dscps,
                                                              XrlAtomList& queues) {
  if (!are_all_within(dscps, MAX_DSCP)) return XrlCmdError::BAD_ARGS("bad dscp.");
  append_queues(*_policy_config, &PolicyConfig::get_dscp_queue, dscps, queues);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_priority_queue(const XrlAtomList& priorities,
                                                                  const XrlAtomList& queues) {
  if (!are_queue_pairs(priorities, MAX_PRIORITY, queues)) {
    return XrlCmdError::BAD_ARGS("bad priority and queue.");
  }
  set_queues(*_policy_config, &PolicyConfig::set_priority_queue, priorities, queues);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_priority_queue(const XrlAtomList& priorities,
                                                                  XrlAtomList& queues) {
  if (!are_all_within(priorities, MAX_PRIORITY)) return XrlCmdError::BAD_ARGS("bad priority.");
  append_queues(*_policy_config, &PolicyConfig::get_priority_queue, priorities, queues);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_schedule_algorithm(std::uint32_t algorithm,
                                                                      const XrlAtomList& weights) {
  if (algorithm > MAX_SCHEDULE_ALGORITHM) return XrlCmdError::BAD_ARGS("bad algorithm.");
  if (weights.size() != PolicyConfig::QUEUE_WEIGHTS) return XrlCmdError::BAD_ARGS("bad weight.");
  const std::vector<std::uint32_t> values = numbers_of(weights);
  _policy_config->set_algorithm(algorithm);
  _policy_config->set_weights(values);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::policy_config_0_1_get_schedule_algorithm(std::uint32_t& algorithm,
                                                                      XrlAtomList& weights) {
  std::vector<std::uint32_t> values;
  _policy_config->get_weights(values);
  algorithm = _policy_config->algorithm();
  for (const std::uint32_t value : values) weights.append(value);
  return XrlCmdError::OKAY();
}
