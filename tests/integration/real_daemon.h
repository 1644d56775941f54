// Fixture: a real policyd beside a finder, and where a test wants it the rest of
// the switch. A warning of policyd that the test does not take fails the test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/integration/control_plane.h"

class RealDaemon : public testing::Test {
 protected:
  using Lines = std::vector<std::string>;
  // Requests to policy_config/0.1 and what policyd answers to each, in order.
  using Dialogue = std::vector<std::pair<std::string, std::string>>;

  // Each returns when all know each other.
  void start_without_switch();
  void start_all(const std::string& description = SMALL_SWITCH);

  // A request to policy_config/0.1 of policyd, or to chassis/0.1 of the chassis.
  std::string policy(const std::string& request);
  std::string chassis(const std::string& request);
  std::string ask(const std::string& request) { return plane.client().ask(request); }
  void hold(const Dialogue& dialogue);

  // The VLAN manager's and the card manager's events, sent by the test.
  std::string vlan_event(std::uint32_t event, std::uint32_t vlan_id);
  std::string card_event(std::uint32_t card_id, std::uint32_t state);
  std::string shut_down() { return ask("policy/common/0.1/shutdown"); }

  bool until(const std::function<bool()>& condition) { return plane.client().until(condition); }
  bool until_answered(const std::string& request, const std::string& answer) {
    return until([&] { return policy(request) == answer; });
  }
  bool has_port(const std::string& name);
  bool has_vlan(std::uint32_t id);

  // The warnings that policyd has logged since the last time, once there are
  // `count` of them.
  Lines take_warnings(std::size_t count);
  // Kills it (-9).
  void kill_policyd();

  void TearDown() override;

  ControlPlane plane;
  // What policyd says of a finder that was killed is no warning to be taken.
  bool finder_may_be_lost = false;

 private:
  std::size_t _warnings_taken = 0;
};
