// The whole control plane in one process on virtual time: finder, policyd's
// node, the chassis and an operator who sends commands, with faults drawn from
// the seed: delays, cut and stalled connections, restarts of the finder, of
// the chassis and of policyd, changes of the switch meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "chassis/chassis.h"
#include "framework/finder/finder_server.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "policy/xrl_policy_node.h"
#include "tests/simulation/sim_world.h"

class SystemSimulation {
 public:
  explicit SystemSimulation(std::uint64_t seed);
  ~SystemSimulation();
  SystemSimulation(const SystemSimulation&) = delete;
  SystemSimulation& operator=(const SystemSimulation&) = delete;

  // Starts all in a drawn order and lives through `steps` drawn events.
  void live(int steps);
  // No more faults: starts what is down and lets the system settle.
  void calm_down();
  // Waits, for a bounded virtual time, until check() finds nothing.
  void converge();

  // What is wrong: records of policyd that differ from the switch, requests
  // with no answer or more than one. Empty when all is well.
  [[nodiscard]] std::vector<std::string> check() const;

  [[nodiscard]] SimWorld& world() { return _world; }
  [[nodiscard]] std::uint64_t trace_hash() const { return _world.trace().hash(); }
  [[nodiscard]] std::size_t requests() const { return _answers.size(); }

 private:
  struct Operator;

  void start_finder();
  void start_chassis();
  void start_policyd();
  void stop_chassis();
  void step();
  void change_the_switch();
  void harm_the_network();
  void restart_something();
  void send_command();
  void run_while_policyd_starts();
  [[nodiscard]] std::string drawn_interface();

  void check_ports(std::vector<std::string>& wrong) const;
  void check_vlans(std::vector<std::string>& wrong) const;
  void check_cards(std::vector<std::string>& wrong) const;
  void check_answers(std::vector<std::string>& wrong) const;

  SimWorld _world;
  std::optional<FinderServer> _finder;
  std::unique_ptr<Chassis> _chassis;
  std::unique_ptr<XrlPolicyNode> _policyd;
  bool _policyd_started = false;
  std::unique_ptr<XrlStdRouter> _operator;
  SwitchDescription _description;
  std::vector<std::uint64_t> _held;  // connections that are stalled
  std::vector<int> _answers;         // how many each request of the operator got
};
