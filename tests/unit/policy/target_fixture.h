// A command target on a router without a network and a loop that does not run.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "policy/command/xrl_policy_target.h"
#include "policy/store/policy_node.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/unit/policy/fake_router.h"
#include "tests/unit/policy/store_samples.h"

class TargetFixture : public ::testing::Test {
 protected:
  // What the caller of "METHOD?ARGUMENTS" sees; policy_config/0.1 unless the
  // method says otherwise.
  std::string call(std::string_view request) {
    const std::string_view method = request.substr(0, request.find('?'));
    if (method.find('/') != std::string_view::npos) return _router.call(request);
    return _router.call("policy_config/0.1/" + std::string(request));
  }
  // Requests in order, each with what its caller sees.
  struct Row {
    const char* request;
    const char* answer;
  };
  void expect(std::initializer_list<Row> rows) {
    for (const Row& row : rows) EXPECT_EQ(call(row.request), row.answer) << row.request;
  }
  PolicyConfig& config() { return _node.policy_config(); }
  PolicyTree& tree() { return config().policy_tree(); }

  static constexpr const char* OKAY = "100 ";

  SimWorld _world{1};
  PolicyNode _node{_world.loop()};
  FakeRouter _router{"policy"};
  XrlPolicyTarget _target{_world.loop(), _node, &_router, _node.profile()};
};
