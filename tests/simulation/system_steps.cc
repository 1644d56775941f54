// What the steps of a scenario do.
#include <algorithm>
#include <array>

#include "policy/interfaces/policy_config_xif.h"
#include "tests/simulation/system_simulation.h"

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::array<std::uint32_t, 4> CARD_STATES{CARD_STATE_PRESENT, 0, 8, 9};
constexpr std::array TARGETS{"sif", "card_manager", "vlan", "lcmgr021", "lcmgr022"};
constexpr std::array STOLEN_NAMES{"card_manager", "vlan", "sif", "policy", "lcmgr021"};

std::string interface_of(const Step& step) {
  return "eth-0/" + std::to_string(1 + step.which % 3) + "/" + std::to_string(1 + step.how % 4);
}

std::uint32_t vlan_of(const Step& step) {
  return 10 + step.which % 6 * 10;
}

std::uint32_t acl_of(const Step& step) {
  return 10 + step.which % 3;
}

std::uint32_t rule_of(const Step& step) {
  return step.how % 4;
}

XrlAtomList list_of(std::initializer_list<std::uint32_t> numbers) {
  XrlAtomList list;
  for (const std::uint32_t number : numbers) list.append(number);
  return list;
}

}  // namespace

// In the order of StepKind.
const std::array<SystemSimulation::Take, STEP_KINDS> SystemSimulation::TAKE{
    &SystemSimulation::add_interface,
    &SystemSimulation::remove_interface,
    &SystemSimulation::add_member,
    &SystemSimulation::remove_member,
    &SystemSimulation::set_card,
    &SystemSimulation::create_vlan,
    &SystemSimulation::delete_vlan,
    &SystemSimulation::set_line_card_fault,
    &SystemSimulation::set_map,
    &SystemSimulation::get_flag,
    &SystemSimulation::create_rule,
    &SystemSimulation::bind_rule,
    &SystemSimulation::unbind_rule,
    &SystemSimulation::delete_acl,
    &SystemSimulation::cut,
    &SystemSimulation::cut_youngest,
    &SystemSimulation::cut_in_handshake,
    &SystemSimulation::cut_in_exchange,
    &SystemSimulation::cut_every_request,
    &SystemSimulation::hold,
    &SystemSimulation::release,
    &SystemSimulation::sever,
    &SystemSimulation::set_delay,
    &SystemSimulation::toggle_finder,
    &SystemSimulation::toggle_chassis,
    &SystemSimulation::toggle_policyd,
    &SystemSimulation::toggle_target,
    &SystemSimulation::lose_host,
    &SystemSimulation::restart_in_answer,
    &SystemSimulation::late_birth,
    &SystemSimulation::toggle_thief,
    &SystemSimulation::freeze,
    &SystemSimulation::thaw,
    &SystemSimulation::toggle_descriptors,
    &SystemSimulation::run_out_of_memory,
    &SystemSimulation::wait,
};

// ------------------------------------------------- the switch, at the hardware

// What the model refuses (a second interface of a name, ...) did not happen.
bool SystemSimulation::change_switch(const std::function<Refusal(SwitchModel&)>& change) {
  if (!_chassis || _chassis_process.is_frozen()) return false;
  _chassis_process.enter();
  return change(_chassis->model()) == DONE;
}

bool SystemSimulation::add_interface(const Step& step) {
  return change_switch([&](SwitchModel& m) { return m.add_interface(interface_of(step)); });
}

bool SystemSimulation::remove_interface(const Step& step) {
  return change_switch([&](SwitchModel& m) { return m.remove_interface(interface_of(step)); });
}

bool SystemSimulation::add_member(const Step& step) {
  return change_switch([&](SwitchModel& m) { return m.add_member("lag1", interface_of(step)); });
}

bool SystemSimulation::remove_member(const Step& step) {
  return change_switch([&](SwitchModel& m) { return m.remove_member("lag1", interface_of(step)); });
}

bool SystemSimulation::set_card(const Step& step) {
  const std::uint32_t card = FIRST_CARD_ID + 1 + step.which % 3;
  return change_switch(
      [&](SwitchModel& m) { return m.set_card_state(card, CARD_STATES.at(step.how % 4)); });
}

bool SystemSimulation::create_vlan(const Step& step) {
  return change_switch([&](SwitchModel& m) { return m.create_vlan(vlan_of(step)); });
}

bool SystemSimulation::delete_vlan(const Step& step) {
  return change_switch([&](SwitchModel& m) { return m.delete_vlan(vlan_of(step)); });
}

bool SystemSimulation::set_line_card_fault(const Step& step) {
  return change_switch([&](SwitchModel& m) -> Refusal {
    LineCard* const card = m.find_line_card(1 + step.which % 2);
    if (card == nullptr) return "there is none.";
    card->set_fault(static_cast<LineCardFault>(step.how % 4));
    return DONE;
  });
}

// ------------------------------------------------------------- commands

template <typename Send>
bool SystemSimulation::ask_policyd(Send send) {
  _operator_process.enter();
  const auto count = expect_answer();
  const bool sent = send(XrlPolicyConfigV0p1Client(_operator.get()),
                         callback([count](const XrlError&) { count(); }));
  if (!sent) forget_expected();
  return sent;
}

bool SystemSimulation::set_map(const Step& step) {
  const XrlAtomList priorities = list_of({step.which % 8, (step.which + 1) % 8});
  const XrlAtomList queues = list_of({step.how % 8, step.which % 8});
  return ask_policyd([&](auto policy, auto done) {
    return policy.send_set_cos_mapping("policy", priorities, queues, std::move(done));
  });
}

bool SystemSimulation::get_flag(const Step&) {
  _operator_process.enter();
  const auto count = expect_answer();
  const bool sent = XrlPolicyConfigV0p1Client(_operator.get())
                        .send_get_cos_flag(
                            "policy", callback([count](const XrlError&, const bool*) { count(); }));
  if (!sent) forget_expected();
  return sent;
}

bool SystemSimulation::create_rule(const Step& step) {
  static_cast<void>(ask_policyd([&](auto policy, auto done) {
    return policy.send_create_acl("policy", acl_of(step), 0, std::move(done));
  }));
  return ask_policyd([&](auto policy, auto done) {
    return policy.send_create_rule("policy", acl_of(step), rule_of(step), 0, {}, {},
                                   std::move(done));
  });
}

bool SystemSimulation::bind_rule(const Step& step) {
  return ask_policyd([&](auto policy, auto done) {
    switch (step.which % 5) {
      case 0:
        return policy.send_set_all_ports_packet_filter("policy", acl_of(step), rule_of(step),
                                                       std::move(done));
      case 1:
        return policy.send_set_vlan_packet_filter("policy", vlan_of(step), acl_of(step),
                                                  rule_of(step), std::move(done));
      default:
        return policy.send_set_port_packet_filter("policy", interface_of(step), acl_of(step),
                                                  rule_of(step), std::move(done));
    }
  });
}

bool SystemSimulation::unbind_rule(const Step& step) {
  return ask_policyd([&](auto policy, auto done) {
    return policy.send_delete_port_packet_filter("policy", interface_of(step), acl_of(step),
                                                 rule_of(step), std::move(done));
  });
}

bool SystemSimulation::delete_acl(const Step& step) {
  return ask_policyd([&](auto policy, auto done) {
    return policy.send_delete_acl("policy", acl_of(step), std::move(done));
  });
}

// ------------------------------------------------------------- the network

const SimConnection* SystemSimulation::any_connection(std::uint32_t which) {
  _connections = _world.network().connections();
  return _connections.empty() ? nullptr : &_connections[which % _connections.size()];
}

bool SystemSimulation::cut(const Step& step) {
  const SimConnection* const connection = any_connection(step.which);
  return connection != nullptr && _world.network().cut(connection->id);
}

// The likeliest to carry what nobody will say again.
bool SystemSimulation::cut_youngest(const Step&) {
  return any_connection(0) != nullptr && _world.network().cut(_connections.back().id);
}

// One of the next connections, at a drawn moment of its handshake.
bool SystemSimulation::cut_in_handshake(const Step& step) {
  const std::array<std::array<SimProcess*, 2>, 4> ways{{{&_policyd_process, &_chassis_process},
                                                        {&_chassis_process, &_policyd_process},
                                                        {&_operator_process, &_policyd_process},
                                                        {&_policyd_process, &_finder_process}}};
  const auto& [from, to] = ways.at(step.which % ways.size());
  _world.network().cut_next(from->descriptors(), to->descriptors(), step.how % 3, 1 + step.how % 2,
                            fired(StepKind::CUT_IN_HANDSHAKE));
  return false;  // it fires when a connection is cut
}

// Between a request and its answer, or between two requests.
bool SystemSimulation::cut_in_exchange(const Step& step) {
  const SimConnection* const connection = any_connection(step.which);
  if (connection == nullptr) return false;
  static_cast<void>(_world.network().cut_after(connection->id, 1 + step.how % 3,
                                               fired(StepKind::CUT_IN_EXCHANGE)));
  return false;
}

// As a peer does that closes every connection on which it is asked something.
// The next such step ends it.
bool SystemSimulation::cut_every_request(const Step& step) {
  constexpr unsigned HELLOS_AND_A_REQUEST = 3;
  _world.network().take_traps_back();
  _cutting_every_request = !_cutting_every_request;
  if (!_cutting_every_request) return false;
  const bool of_policyd = step.which % 2 == 0;
  SimProcess& from = of_policyd ? _policyd_process : _chassis_process;
  SimProcess& to = of_policyd ? _chassis_process : _policyd_process;
  _world.network().cut_next(from.descriptors(), to.descriptors(), HELLOS_AND_A_REQUEST, 1000,
                            fired(StepKind::CUT_EVERY_REQUEST));
  return false;
}

bool SystemSimulation::hold(const Step& step) {
  const SimConnection* const connection = any_connection(step.which);
  if (connection == nullptr || !_world.network().hold(connection->id)) return false;
  _held.push_back(connection->id);
  return true;
}

bool SystemSimulation::release(const Step&) {
  if (_held.empty()) return false;
  const bool released = _world.network().release(_held.back());
  _held.pop_back();
  return released;
}

bool SystemSimulation::sever(const Step& step) {
  const SimConnection* const connection = any_connection(step.which);
  return connection != nullptr && _world.network().sever(connection->id);
}

bool SystemSimulation::set_delay(const Step& step) {
  _world.network().set_delay(microseconds(10), milliseconds(1 + step.which % 80));
  return true;
}

// ------------------------------------------------------------- processes

SimProcess& SystemSimulation::any_of_three(std::uint32_t which) {
  return *_all[which % 3];
}

bool SystemSimulation::toggle(SimProcess& process) {
  if (runs(process)) {
    stop(process);
  } else {
    start(process);
  }
  return true;
}

bool SystemSimulation::toggle_finder(const Step&) {
  return toggle(_finder_process);
}

bool SystemSimulation::toggle_chassis(const Step&) {
  return toggle(_chassis_process);
}

bool SystemSimulation::toggle_policyd(const Step&) {
  return toggle(_policyd_process);
}

bool SystemSimulation::toggle_target(const Step& step) {
  if (!_chassis || _chassis_process.is_frozen()) return false;
  _chassis_process.enter();
  const char* const name = TARGETS.at(step.which % TARGETS.size());
  const bool stopped = _chassis->targets().stop(name) == DONE;
  const bool changed = stopped && step.how % 2 == 0;
  if (!changed) static_cast<void>(_chassis->targets().start(name));
  return true;
}

bool SystemSimulation::lose_host(const Step& step) {
  SimProcess& process = any_of_three(step.which);
  if (!runs(process)) return false;
  process.descriptors().is_lost = true;
  stop(process);
  if (step.how % 2 == 0) start(process);
  return true;
}

bool SystemSimulation::restart_in_answer(const Step& step) {
  SimProcess& process = any_of_three(step.which);
  if (runs(process)) _restart = {&process, process.descriptors().writes + step.how % 3};
  return false;  // it fires when the process has written
}

// policyd hears of a new instance late, while others have it already.
bool SystemSimulation::late_birth(const Step& step) {
  if (!_chassis || !_finder || !_policyd) return false;
  bool held = false;
  for (const SimConnection& connection : _world.network().connections()) {
    if (connection.client_owner != &_policyd_process.descriptors() ||
        connection.server_owner != &_finder_process.descriptors()) {
      continue;
    }
    held = _world.network().hold(connection.id);
    _held.push_back(connection.id);
  }
  Step restart = step;
  restart.how = 1;
  return toggle_target(restart) && held;
}

bool SystemSimulation::toggle_thief(const Step& step) {
  if (_thief) {
    _thief.reset();
  } else {
    _thief_process.enter();
    _thief = std::make_unique<XrlStdRouter>(_thief_process.loop(),
                                            STOLEN_NAMES.at(step.which % STOLEN_NAMES.size()),
                                            "127.0.0.1", 19999, false);
  }
  return true;
}

bool SystemSimulation::freeze(const Step& step) {
  SimProcess& process = any_of_three(step.which);
  const bool runs_now = runs(process) && !process.is_frozen();
  if (runs_now) process.freeze(true);
  return runs_now;
}

bool SystemSimulation::thaw(const Step&) {
  bool thawed = false;
  for (SimProcess* process : _all) {
    thawed = thawed || process->is_frozen();
    process->freeze(false);
  }
  return thawed;
}

// The next such step gives them back.
bool SystemSimulation::toggle_descriptors(const Step& step) {
  bool given_back = false;
  for (SimProcess* process : _all) {
    if (process->descriptors().limit == SimDescriptors().limit) continue;
    process->descriptors().limit = SimDescriptors().limit;
    given_back = true;
  }
  if (given_back) return false;
  SimProcess& process = any_of_three(step.which);
  process.descriptors().limit = process.descriptors().open + step.how % 2;
  return false;  // it fires when one is refused
}

bool SystemSimulation::run_out_of_memory(const Step& step) {
  any_of_three(step.which).run_out_of_memory(1 + step.how % 3);
  return false;  // it fires when memory is asked for
}

bool SystemSimulation::wait(const Step&) {
  return true;
}
