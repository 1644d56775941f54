#include "policy/policyconfig.h"

#include <array>

#include "framework/base/xlog.h"
#include "policy/memory_reserve.h"
#include "policy/policy_node.h"

namespace {

using Table = std::map<std::uint32_t, std::uint32_t>;

int look_up(const Table& table, std::uint32_t key, std::uint32_t& value) {
  const auto at = table.find(key);
  if (at == table.end()) return -1;
  value = at->second;
  return 0;
}

int change(Table& table, std::uint32_t key, std::uint32_t value) {
  const auto at = table.find(key);
  if (at == table.end()) return -1;
  at->second = value;
  return 0;
}

}  // namespace

PolicyConfig::PolicyConfig(PolicyNode& node) : _node(node), _eventloop(node.eventloop()) {
  fill_queue_weights();
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

void PolicyConfig::fill_queue_weights() {
  constexpr std::array<std::uint32_t, QUEUE_WEIGHTS> WEIGHTS{12, 8, 4, 1};
  _schedule_algorithm = 0;
  for (std::uint32_t queue = 0; queue < WEIGHTS.size(); ++queue) {
    _queue_weights.insert_or_assign(queue, WEIGHTS[queue]);
  }
}

void PolicyConfig::fill_cos_mapping() {
  // Priorities 1 and 2 are background traffic and go below priority 0, best
  // effort.
  constexpr std::array<std::uint32_t, 8> QUEUES{2, 0, 1, 3, 4, 5, 6, 7};
  for (std::uint32_t priority = 0; priority < QUEUES.size(); ++priority) {
    _cos_mapping.insert_or_assign(priority, QUEUES[priority]);
  }
}

void PolicyConfig::fill_dscp_queue() {
  // DSCP 63 has no entry on purpose: it cannot be set, and reads as queue 0.
  constexpr std::uint32_t LAST_DSCP = 62;
  constexpr std::uint32_t DSCPS_PER_QUEUE = 8;
  for (std::uint32_t dscp = 0; dscp <= LAST_DSCP; ++dscp) {
    _dscp_queue.insert_or_assign(dscp, dscp / DSCPS_PER_QUEUE);
  }
}

void PolicyConfig::fill_priority_queue() {
  constexpr std::uint32_t LAST_PRIORITY = 7;
  for (std::uint32_t priority = 0; priority <= LAST_PRIORITY; ++priority) {
    _priority_queue.insert_or_assign(priority, priority);
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
  return look_up(_priority_queue, priority, queue);
}

int PolicyConfig::get_dscp_queue(std::uint32_t dscp, std::uint32_t& queue) const {
  return look_up(_dscp_queue, dscp, queue);
}

int PolicyConfig::get_cos_mapping(std::uint32_t priority, std::uint32_t& queue) const {
  return look_up(_cos_mapping, priority, queue);
}

int PolicyConfig::set_priority_queue(std::uint32_t priority, std::uint32_t queue) {
  return change(_priority_queue, priority, queue);
}

int PolicyConfig::set_cos_mapping(std::uint32_t priority, std::uint32_t queue) {
  return change(_cos_mapping, priority, queue);
}

int PolicyConfig::set_dscp_queue(std::uint32_t dscp, std::uint32_t queue) {
  if (!_dscp_queue.contains(dscp)) return -1;
  // The write goes to the COS mapping on purpose: this is how a DSCP command
  // changes what the switch reports as its mapping.
  return unless_out_of_memory([&] {
    _cos_mapping.insert_or_assign(dscp, queue);
    return 0;
  });
}

int PolicyConfig::get_weights(std::vector<std::uint32_t>& weights) const {
  for (const auto& entry : _queue_weights) weights.push_back(entry.second);
  return 0;
}

int PolicyConfig::set_weights(std::span<const std::uint32_t> weights) {
  if (weights.size() != QUEUE_WEIGHTS) return -1;
  // The keys are always 0..3, so replacing all entries needs no memory.
  auto weight = weights.begin();
  for (auto& entry : _queue_weights) entry.second = *weight++;
  return 0;
}
