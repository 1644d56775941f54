// PolicyConfig: the switch-wide class-of-service settings, and the ACL store
// they are kept with.
//
// Three tables map an 802.1p priority or a DSCP value to an egress queue, a
// fourth one a queue to its scheduling weight. Every start begins from the
// same defaults; nothing is sent anywhere from here. Ranges are checked by
// the commands. Operations answer 0, or -1 for a refusal, which changes
// nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/switch_vocabulary.h"
#include "policy/store/policytree.h"
#include "policy/store/queue_table.h"

class EventLoop;
class PolicyNode;

class PolicyConfig {
 public:
  static constexpr std::size_t QUEUE_WEIGHTS = DEFAULT_QUEUE_WEIGHTS.size();

  // The defaults; not started. `node` owns the store and outlives it.
  explicit PolicyConfig(PolicyNode& node);
  // Stops.
  virtual ~PolicyConfig();
  PolicyConfig(const PolicyConfig&) = delete;
  PolicyConfig& operator=(const PolicyConfig&) = delete;

  // Both always answer 0. The text is emptied by a stop that has something to
  // stop and left alone otherwise.
  int start(std::string& error_msg);
  int stop(std::string& error_msg);
  [[nodiscard]] bool is_running() const { return _running; }

  [[nodiscard]] PolicyNode& node() const { return _node; }
  [[nodiscard]] EventLoop& eventloop() const { return _eventloop; }
  [[nodiscard]] PolicyTree& policy_tree() { return _policy_tree; }

  // -1, and `queue` is left alone, when the table has no entry for the key.
  int get_priority_queue(std::uint32_t priority, std::uint32_t& queue) const;
  int get_dscp_queue(std::uint32_t dscp, std::uint32_t& queue) const;
  int get_cos_mapping(std::uint32_t priority, std::uint32_t& queue) const;

  // -1 when the table has no entry for the priority; none is ever added.
  int set_priority_queue(std::uint32_t priority, std::uint32_t queue);
  int set_cos_mapping(std::uint32_t priority, std::uint32_t queue);
  // -1 when the DSCP table has no entry for the value (63 never has). Otherwise
  // sets the COS mapping of the priority with that number, adding it when there
  // is none, and leaves the DSCP table as it is.
  int set_dscp_queue(std::uint32_t dscp, std::uint32_t queue);

  // Appends the weights of queues 0..3 in order. Always 0.
  int get_weights(std::vector<std::uint32_t>& weights) const;
  // The weights of queues 0..3 in order. -1 unless there are four.
  int set_weights(std::span<const std::uint32_t> weights);

  [[nodiscard]] std::uint32_t algorithm() const { return _schedule_algorithm; }
  void set_algorithm(std::uint32_t algorithm) { _schedule_algorithm = algorithm; }
  [[nodiscard]] std::uint32_t mode() const { return _schedule_mode; }
  void set_mode(std::uint32_t mode) { _schedule_mode = mode; }
  [[nodiscard]] bool cos_flag() const { return _cos_flag; }
  void set_cos_flag(bool flag) { _cos_flag = flag; }

 private:
  void fill_cos_mapping();
  void fill_dscp_queue();
  void fill_priority_queue();

  PolicyNode& _node;
  EventLoop& _eventloop;
  PolicyTree _policy_tree;
  bool _running = false;
  bool _cos_flag = false;
  std::uint32_t _schedule_mode = 0;
  QueueTable _cos_mapping;     // priority -> queue, as programmed on the line cards
  QueueTable _dscp_queue;      // DSCP 0..62 -> queue
  QueueTable _priority_queue;  // priority 0..7 -> queue
  std::array<std::uint32_t, QUEUE_WEIGHTS> _queue_weights = DEFAULT_QUEUE_WEIGHTS;
  std::uint32_t _schedule_algorithm = 0;
};
