// XrlPolicyNode: the daemon as one object: the router, the node with the
// stores and the command target, made in this order and destroyed in reverse.
#pragma once

#include <cstdint>
#include <string>

#include "framework/xrl/router/xrl_std_router.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policy_node.h"

class XrlPolicyNode {
 public:
  // Sends nothing. The event loop must outlive the node.
  XrlPolicyNode(EventLoop& eventloop, const std::string& class_name,
                const std::string& finder_target, const std::string& finder_host,
                std::uint16_t finder_port);
  // As after shutdown().
  virtual ~XrlPolicyNode();
  XrlPolicyNode(const XrlPolicyNode&) = delete;
  XrlPolicyNode& operator=(const XrlPolicyNode&) = delete;

  // Turns the loop until the router has registered with the finder, then
  // starts node and target. Always 0: the target tells of a failure of its
  // own in its service status.
  int startup();
  // Stops node and target; from now on changes are refused. Always 0; may be repeated.
  int shutdown();

  // Whether the command to shut down was received.
  [[nodiscard]] bool is_done() const { return _xrl_policy_target.is_shutdown_requested(); }
  // Whether node or target run, or a request still awaits its reply.
  [[nodiscard]] bool is_running() const;

  [[nodiscard]] EventLoop& eventloop() { return _eventloop; }
  [[nodiscard]] XrlRouter& xrl_router() { return _xrl_router; }
  [[nodiscard]] PolicyNode& policy_node() { return _policy_node; }
  [[nodiscard]] XrlPolicyTarget& xrl_policy_target() { return _xrl_policy_target; }

 private:
  EventLoop& _eventloop;
  XrlStdRouter _xrl_router;
  PolicyNode _policy_node;
  XrlPolicyTarget _xrl_policy_target;
  // Kept as given, and never read: the parts know the finder by its name.
  std::string _finder_target;
};
