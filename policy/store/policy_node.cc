#include "policy/store/policy_node.h"

#include <string>

#include "common/profile_variables.h"
#include "framework/base/comm.h"
#include "framework/base/xlog.h"

PolicyNode::PolicyNode(EventLoop& eventloop) : _eventloop(eventloop), _policy_config(*this) {}

PolicyNode::~PolicyNode() {
  shutdown();
}

int PolicyNode::startup() {
  comm_init();
  for (const ProfileVariable& variable : profile_variables) {
    _profile.create(variable.name, variable.comment);
  }
  std::string error_msg;
  if (_policy_config.start(error_msg) != 0) {
    XLOG_FATAL("Cannot start PolicyConfig: %s", error_msg.c_str());
  }
  _is_running = true;
  return 0;
}

int PolicyNode::shutdown() {
  std::string error_msg;
  if (_policy_config.stop(error_msg) != 0) {
    XLOG_ERROR("Cannot stop PolicyConfig: %s", error_msg.c_str());
  }
  comm_exit();
  _is_running = false;
  return 0;
}
