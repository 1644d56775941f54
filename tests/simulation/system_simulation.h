// The whole control plane on virtual time, each part in a process of its own:
// finder, policyd's node, the chassis, an operator who sends commands and now and
// then a thief of names. It lives through a scenario; once the faults are over,
// SystemChecks says whether all is well.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "chassis/chassis.h"
#include "framework/finder/finder_server.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "policy/xrl_policy_node.h"
#include "tests/simulation/scenario.h"
#include "tests/simulation/sim_process.h"
#include "tests/simulation/sim_world.h"

class SystemSimulation {
 public:
  // Nothing runs yet but the operator.
  explicit SystemSimulation(const Scenario& scenario);
  ~SystemSimulation();
  SystemSimulation(const SystemSimulation&) = delete;
  SystemSimulation& operator=(const SystemSimulation&) = delete;

  // Takes the scenario's steps.
  void live();
  // No more faults: what is held, frozen or short of anything goes on, what is
  // down starts, the thief leaves. Lets pass what nobody notices at once.
  void calm_down();
  // Until `done`; false when that is not before `limit`.
  bool run_until(const std::function<bool()>& done, Duration limit);

  // Meaningful, and there, once it has calmed down.
  [[nodiscard]] FinderServer& finder() { return *_finder; }
  [[nodiscard]] Chassis& chassis() { return *_chassis; }
  [[nodiscard]] XrlPolicyNode& policyd() { return *_policyd; }
  [[nodiscard]] bool policyd_has_started() const { return _policyd_started; }
  [[nodiscard]] XrlStdRouter& operator_router() { return *_operator; }
  [[nodiscard]] SimProcess& operator_process() { return _operator_process; }
  // For a callback of the operator's next request: counts its answers.
  [[nodiscard]] std::function<void()> expect_answer();
  void forget_expected() { _answers.pop_back(); }
  // How many each request of the operator got.
  [[nodiscard]] const std::vector<int>& answers() const { return _answers; }

  [[nodiscard]] SimWorld& world() { return _world; }
  [[nodiscard]] const std::vector<SimProcess*>& processes() const { return _all; }
  // How often each kind of step had an effect.
  [[nodiscard]] std::array<std::uint64_t, STEP_KINDS> fired() const;
  // Most connections that were made within a second.
  [[nodiscard]] std::uint64_t most_connections_in_a_second() const { return _most_connections; }

 private:
  using Take = bool (SystemSimulation::*)(const Step& step);
  static const std::array<Take, STEP_KINDS> TAKE;
  // A process is ended and begun anew as soon as it has written something.
  struct RestartInAnswer {
    SimProcess* process = nullptr;
    std::uint64_t writes = 0;
  };

  void start_finder();
  void start_chassis();
  void start_policyd();
  void stop_chassis();
  void stop(SimProcess& process);
  void start(SimProcess& process);
  [[nodiscard]] bool runs(const SimProcess& process) const;
  void run_while_policyd_starts();
  void restart_in_answer();
  void revive();
  void watch_connections();
  bool change_switch(const std::function<Refusal(SwitchModel&)>& change);
  template <typename Send>
  bool ask_policyd(Send send);
  bool toggle(SimProcess& process);
  [[nodiscard]] SimProcess& any_of_three(std::uint32_t which);
  [[nodiscard]] const SimConnection* any_connection(std::uint32_t which);
  std::uint64_t& fired(StepKind kind) { return _fired.at(static_cast<std::size_t>(kind)); }

  // Steps; false when there was nothing to do it to.
  bool add_interface(const Step& step);
  bool remove_interface(const Step& step);
  bool add_member(const Step& step);
  bool remove_member(const Step& step);
  bool set_card(const Step& step);
  bool create_vlan(const Step& step);
  bool delete_vlan(const Step& step);
  bool set_line_card_fault(const Step& step);
  bool set_map(const Step& step);
  bool get_flag(const Step& step);
  bool create_rule(const Step& step);
  bool bind_rule(const Step& step);
  bool unbind_rule(const Step& step);
  bool delete_acl(const Step& step);
  bool cut(const Step& step);
  bool cut_youngest(const Step& step);
  bool cut_in_handshake(const Step& step);
  bool cut_in_exchange(const Step& step);
  bool cut_every_request(const Step& step);
  bool hold(const Step& step);
  bool release(const Step& step);
  bool sever(const Step& step);
  bool set_delay(const Step& step);
  bool toggle_finder(const Step& step);
  bool toggle_chassis(const Step& step);
  bool toggle_policyd(const Step& step);
  bool toggle_target(const Step& step);
  bool lose_host(const Step& step);
  bool restart_in_answer(const Step& step);
  bool late_birth(const Step& step);
  bool toggle_thief(const Step& step);
  bool freeze(const Step& step);
  bool thaw(const Step& step);
  bool toggle_descriptors(const Step& step);
  bool run_out_of_memory(const Step& step);
  bool wait(const Step& step);

  Scenario _scenario;
  SimWorld _world;
  SimProcess _finder_process{_world};
  SimProcess _chassis_process{_world};
  SimProcess _policyd_process{_world};
  SimProcess _operator_process{_world};
  SimProcess _thief_process{_world};
  std::vector<SimProcess*> _all{&_finder_process, &_chassis_process, &_policyd_process,
                                &_operator_process, &_thief_process};
  SimProcesses _processes{_world, _all};

  std::optional<FinderServer> _finder;
  std::unique_ptr<Chassis> _chassis;
  std::unique_ptr<XrlPolicyNode> _policyd;
  std::unique_ptr<XrlStdRouter> _operator;
  std::unique_ptr<XrlStdRouter> _thief;
  bool _policyd_started = false;
  bool _cutting_every_request = false;
  SwitchDescription _description;
  std::vector<std::uint64_t> _held;  // connections that are stalled
  std::vector<SimConnection> _connections;
  std::vector<int> _answers;
  RestartInAnswer _restart;
  std::array<std::uint64_t, STEP_KINDS> _fired{};
  TimePoint _second_began{};
  std::uint64_t _connections_before = 0;
  std::uint64_t _most_connections = 0;
};
