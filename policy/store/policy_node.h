// PolicyNode: owns the stores and the profiling registry, and starts and
// stops them.
#pragma once

#include "framework/base/profile.h"
#include "policy/store/policyconfig.h"

class EventLoop;

class PolicyNode {
 public:
  // Stopped. The event loop must outlive the node.
  explicit PolicyNode(EventLoop& eventloop);
  // As after shutdown().
  virtual ~PolicyNode();
  PolicyNode(const PolicyNode&) = delete;
  PolicyNode& operator=(const PolicyNode&) = delete;

  // Sets up the sockets layer, creates the profiling variables and starts the
  // class-of-service store; to be called once. Always 0: a store that cannot
  // start ends the process.
  int startup();
  // Always 0; may be repeated.
  int shutdown();
  // True from startup() to shutdown().
  [[nodiscard]] bool is_running() const { return _is_running; }

  [[nodiscard]] EventLoop& eventloop() const { return _eventloop; }
  [[nodiscard]] PolicyConfig& policy_config() { return _policy_config; }
  [[nodiscard]] Profile& profile() { return _profile; }

 private:
  EventLoop& _eventloop;
  bool _is_running = false;
  PolicyConfig _policy_config;
  Profile _profile;
};
