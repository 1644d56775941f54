#include "tests/integration/real_daemon.h"

#include <csignal>

namespace {

bool tells_of_the_lost_finder(const std::string& line) {
  return line.rfind("WARNING policyd XRL +LINE finder_client connection_down: lost the finder at ",
                    0) == 0;
}

}  // namespace

void RealDaemon::start_without_switch() {
  plane.start_finder();
  plane.start_policyd();
  ASSERT_TRUE(until([this] { return ask("policy/common/0.1/get_version").substr(0, 3) == "100"; }));
}

void RealDaemon::start_all(const std::string& description) {
  plane.start_finder();
  plane.start_chassis(description);
  ASSERT_TRUE(plane.chassis->wait_for_output("\n")) << plane.chassis->errors();
  plane.start_policyd();
  // The interface tree arrives as a whole, VLANs in ascending order.
  ASSERT_TRUE(until([this] { return has_port("eth-0/1/1") && has_vlan(20); }));
}

std::string RealDaemon::policy(const std::string& request) {
  return ask("policy/policy_config/0.1/" + request);
}

std::string RealDaemon::chassis(const std::string& request) {
  return ask("chassis/chassis/0.1/" + request);
}

void RealDaemon::hold(const Dialogue& dialogue) {
  for (const auto& [request, answer] : dialogue) EXPECT_EQ(policy(request), answer) << request;
}

std::string RealDaemon::vlan_event(std::uint32_t event, std::uint32_t vlan_id) {
  return ask("policy/vlan_observer/0.1/vlan_event?event:u32=" + std::to_string(event) +
             "&vlan_id:u32=" + std::to_string(vlan_id));
}

std::string RealDaemon::card_event(std::uint32_t card_id, std::uint32_t state) {
  return ask("policy/card_state_observer/0.1/card_state_change?card_id:u32=" +
             std::to_string(card_id) + "&card_state:u32=" + std::to_string(state));
}

bool RealDaemon::has_port(const std::string& name) {
  return policy("get_port_cos_value?ifname:txt=" + name).substr(0, 3) == "100";
}

bool RealDaemon::has_vlan(std::uint32_t id) {
  return policy("get_vlan_remark?vlan_id:u32=" + std::to_string(id)).substr(0, 3) == "100";
}

RealDaemon::Lines RealDaemon::take_warnings(std::size_t count) {
  const auto expected = static_cast<int>(_warnings_taken + count);
  EXPECT_TRUE(plane.policyd->wait_for_errors(" WARNING ", expected));
  Lines lines = log_lines(plane.policyd->errors());
  std::erase_if(lines, [](const std::string& line) { return line.rfind("INFO ", 0) == 0; });
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(_warnings_taken));
  _warnings_taken += lines.size();
  return lines;
}

void RealDaemon::kill_policyd() {
  plane.policyd->signal(SIGKILL);
  plane.policyd->wait();
  Lines warnings = take_warnings(0);
  if (finder_may_be_lost) std::erase_if(warnings, tells_of_the_lost_finder);
  EXPECT_EQ(warnings, Lines());
  plane.policyd.reset();
  _warnings_taken = 0;
}

void RealDaemon::TearDown() {
  if (plane.policyd) kill_policyd();
}
