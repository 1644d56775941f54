#include "policy/xrl_policy_node.h"

XrlPolicyNode::XrlPolicyNode(EventLoop& eventloop, const std::string& class_name,
                             const std::string& finder_target, const std::string& finder_host,
                             std::uint16_t finder_port)
    : _eventloop(eventloop),
      _xrl_router(eventloop, class_name.c_str(), finder_host.c_str(), finder_port, false),
      _policy_node(eventloop),
      _xrl_policy_target(eventloop, _policy_node, &_xrl_router, _policy_node.profile()),
      _finder_target(finder_target) {}

XrlPolicyNode::~XrlPolicyNode() {
  shutdown();
}

int XrlPolicyNode::startup() {
  wait_until_xrl_router_is_ready(_eventloop, _xrl_router);
  _policy_node.startup();
  _xrl_policy_target.startup();
  return 0;
}

int XrlPolicyNode::shutdown() {
  _xrl_router.refuse_changes();
  _policy_node.shutdown();
  _xrl_policy_target.shutdown();
  return 0;
}

bool XrlPolicyNode::is_running() const {
  return _policy_node.is_running() || _xrl_policy_target.is_running() || _xrl_router.pending() > 0;
}
