#include "tests/simulation/system_simulation.h"

#include <algorithm>

#include "platform/card_id.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* HOST = "127.0.0.1";
constexpr std::uint16_t PORT = 19999;

SwitchDescription small_switch() {
  SwitchDescription description;
  for (const char* name : {"eth-0/1/1", "eth-0/1/2", "eth-0/2/1", "eth-0/2/2", "vlan-if"}) {
    description.interfaces.push_back({name, {}});
  }
  description.interfaces.push_back({"lag1", {"eth-0/1/2"}});
  description.vlans = {10, 20};
  description.cards = {get_card_id("eth-0/1/1")};
  return description;
}

}  // namespace

SystemSimulation::SystemSimulation(const Scenario& scenario)
    : _scenario(scenario), _world(scenario.seed), _description(small_switch()) {
  if (scenario.steady) {
    _world.network().set_delay(milliseconds(1), milliseconds(1));
    _world.network().set_partial(0);
  }
  _operator = std::make_unique<XrlStdRouter>(_operator_process.loop(), "", HOST, PORT, false);
}

SystemSimulation::~SystemSimulation() = default;

void SystemSimulation::start_finder() {
  _finder.emplace(_finder_process.loop(), NetAddress::tcp(IPv4::loopback(), PORT), AllowList(), "");
}

// The switch itself lives on while the processes that manage it are restarted.
void SystemSimulation::start_chassis() {
  _chassis =
      std::make_unique<Chassis>(_chassis_process.loop(), _description, FinderPlace{HOST, PORT});
}

void SystemSimulation::stop_chassis() {
  const SwitchModel& model = _chassis->model();
  _description = {};
  for (const auto& [name, atom] : model.interfaces().atoms()) {
    _description.interfaces.push_back({name, {atom.members().begin(), atom.members().end()}});
  }
  _description.vlans.assign(model.vlans().begin(), model.vlans().end());
  for (const auto& [card, state] : model.cards()) {
    if (state == CARD_STATE_PRESENT) _description.cards.push_back(card);
  }
  _chassis.reset();
}

void SystemSimulation::start_policyd() {
  _policyd =
      std::make_unique<XrlPolicyNode>(_policyd_process.loop(), "policy", "finder", HOST, PORT);
  _policyd_started = false;
}

bool SystemSimulation::runs(const SimProcess& process) const {
  if (&process == &_finder_process) return _finder.has_value();
  if (&process == &_chassis_process) return _chassis != nullptr;
  return _policyd != nullptr;
}

void SystemSimulation::start(SimProcess& process) {
  process.begin_anew();
  process.enter();
  process.descriptors().limit = SimDescriptors().limit;
  if (&process == &_finder_process) {
    _world.note("start finder");
    start_finder();
  } else if (&process == &_chassis_process) {
    _world.note("start chassis");
    start_chassis();
  } else {
    _world.note("start policyd");
    start_policyd();
  }
}

void SystemSimulation::stop(SimProcess& process) {
  if (&process == &_finder_process) {
    _world.note("end finder");
    _finder.reset();
  } else if (&process == &_chassis_process) {
    _world.note("end chassis");
    stop_chassis();
  } else {
    _world.note("end policyd");
    _policyd.reset();
  }
}

// What policy_main does between its turns, without keeping the loop to itself.
void SystemSimulation::run_while_policyd_starts() {
  if (!_policyd || _policyd_started || _policyd_process.is_frozen()) return;
  if (!_policyd->xrl_router().ready()) return;
  _policyd_started = true;
  _policyd_process.enter();
  _policyd->startup();
}

void SystemSimulation::restart_in_answer() {
  SimProcess* const process = _restart.process;
  if (process == nullptr || process->descriptors().writes <= _restart.writes) return;
  _restart.process = nullptr;
  ++fired(StepKind::RESTART_IN_ANSWER);
  stop(*process);
  start(*process);
}

// Whoever looks after the processes of a switch begins one anew that has ended.
void SystemSimulation::revive() {
  for (SimProcess* process : {&_finder_process, &_chassis_process, &_policyd_process}) {
    if (!process->has_died()) continue;
    stop(*process);
    start(*process);
  }
}

void SystemSimulation::watch_connections() {
  if (_world.now() < _second_began + seconds(1)) return;
  const std::uint64_t made = _world.network().connections_made();
  _most_connections = std::max(_most_connections, made - _connections_before);
  _connections_before = made;
  _second_began = _world.now();
}

bool SystemSimulation::run_until(const std::function<bool()>& done, Duration limit) {
  return _processes.run_until(
      [&] {
        run_while_policyd_starts();
        restart_in_answer();
        revive();
        watch_connections();
        return done();
      },
      limit);
}

void SystemSimulation::live() {
  for (const Step& step : _scenario.steps) {
    _world.note(name_of(step.kind));
    if ((this->*TAKE.at(static_cast<std::size_t>(step.kind)))(step)) ++fired(step.kind);
    run_until([] { return false; }, step.pause);
  }
}

void SystemSimulation::calm_down() {
  _world.note("calm");
  SimNetwork& network = _world.network();
  for (const std::uint64_t id : _held) static_cast<void>(network.release(id));
  _held.clear();
  network.take_traps_back();
  network.set_delay(milliseconds(1), milliseconds(_scenario.steady ? 1 : 2));
  _restart.process = nullptr;
  _thief.reset();
  for (SimProcess* process : _all) {
    process->freeze(false);
    process->run_out_of_memory(0);
    process->descriptors().limit = SimDescriptors().limit;
  }
  for (SimProcess* process : {&_finder_process, &_chassis_process, &_policyd_process}) {
    if (!runs(*process)) start(*process);
  }
  _chassis_process.enter();
  for (const char* name : {"sif", "card_manager", "vlan", "lcmgr020", "lcmgr021", "lcmgr022"}) {
    static_cast<void>(_chassis->targets().start(name));
  }
  for (const auto& [slot, card] : _chassis->model().line_cards()) {
    _chassis->model().find_line_card(slot)->set_fault(LineCardFault::NONE);
  }
  // Of a connection that was severed last.
  run_until([] { return false; }, SimNetwork::SILENCE + seconds(5));
}

std::function<void()> SystemSimulation::expect_answer() {
  const std::size_t number = _answers.size();
  _answers.push_back(0);
  return [this, number] { ++_answers[number]; };
}

std::array<std::uint64_t, STEP_KINDS> SystemSimulation::fired() const {
  std::array<std::uint64_t, STEP_KINDS> all = _fired;
  for (const SimProcess* process : _all) {
    all.at(static_cast<std::size_t>(StepKind::NO_DESCRIPTORS)) += process->descriptors().refusals;
    all.at(static_cast<std::size_t>(StepKind::NO_MEMORY)) += process->shortages();
  }
  return all;
}
