// DirectTarget: policyd's stores and command handlers without a network.
// Commands run as the dispatcher runs them: from arguments in wire form to
// results in wire form.
#pragma once

#include <string>

#include "framework/base/event_loop.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/router/xrl_router.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policy_node.h"
#include "policy/store/policytree.h"

class DirectTarget {
 public:
  // A command with its arguments, ready to run.
  struct Request {
    const XrlCmdMap::Command* command;
    ByteBuffer args;
    std::string text;
  };

  DirectTarget();

  [[nodiscard]] PolicyTree& tree() { return _node.policy_config().policy_tree(); }

  // "METHOD?ARGUMENTS" in textual form; of policy_config/0.1 unless the method
  // says otherwise.
  [[nodiscard]] Request request(const std::string& text) const;
  // Runs it, ends the process unless it is answered with `wanted`, and answers
  // the seconds that it took,
  [[nodiscard]] static double seconds_of(const Request& request,
                                         XrlErrorCode wanted = XrlErrorCode::OKAY);
  // or, of long ones, the seconds of processor time, which others on this
  // machine do not lengthen.
  [[nodiscard]] static double cpu_seconds_of(const Request& request,
                                             XrlErrorCode wanted = XrlErrorCode::OKAY);

 private:
  // Nobody is there to be asked.
  class LonelyRouter final : public XrlRouter {
   public:
    LonelyRouter() : XrlRouter("policy") {}
    void end_instances_before(std::string_view, std::string_view) override {}
    [[nodiscard]] const std::string& instance_name() const override { return name(); }
    [[nodiscard]] IPv4 finder_address() const override { return IPv4::loopback(); }
    [[nodiscard]] std::uint16_t finder_port() const override { return 0; }
    [[nodiscard]] bool ready() const override { return true; }
    [[nodiscard]] std::size_t pending() const override { return 0; }
    XrlArgsWriter begin_args() override {
      _args.clear();
      return XrlArgsWriter(_args);
    }
    bool send(std::string_view, std::string_view, XrlReply) override { return false; }

   private:
    ByteBuffer _args;
  };

  EventLoop _loop;
  PolicyNode _node{_loop};
  LonelyRouter _router;
  XrlPolicyTarget _target{_loop, _node, &_router, _node.profile()};
};
