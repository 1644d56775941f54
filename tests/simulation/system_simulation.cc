#include "tests/simulation/system_simulation.h"

#include <algorithm>
#include <array>

#include "platform/card_id.h"
#include "policy/interfaces/policy_config_xif.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policytree.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* HOST = "127.0.0.1";
constexpr std::uint16_t PORT = 19999;
// Every fault is over by then: the longest is a request that gets no answer
// and is given up after 30 s.
constexpr seconds CALM_LIMIT{180};

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

constexpr std::array<std::uint32_t, 4> CARD_STATES{7, 0, 8, 9};

}  // namespace

SystemSimulation::SystemSimulation(std::uint64_t seed)
    : _world(seed), _description(small_switch()) {}

SystemSimulation::~SystemSimulation() = default;

void SystemSimulation::start_finder() {
  _world.note("start finder");
  _finder.emplace(_world.loop(), NetAddress::tcp(IPv4::loopback(), PORT), AllowList(), "");
}

// The switch itself lives on while the processes that manage it are restarted.
void SystemSimulation::start_chassis() {
  _world.note("start chassis");
  _chassis = std::make_unique<Chassis>(_world.loop(), _description, FinderPlace{HOST, PORT});
}

void SystemSimulation::stop_chassis() {
  _world.note("kill chassis");
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
  _world.note("start policyd");
  _policyd = std::make_unique<XrlPolicyNode>(_world.loop(), "policy", "finder", HOST, PORT);
  _policyd_started = false;
}

// What policy_main does between its turns, without keeping the loop to itself.
void SystemSimulation::run_while_policyd_starts() {
  if (!_policyd || _policyd_started || !_policyd->xrl_router().ready()) return;
  _policyd_started = true;
  _policyd->startup();
}

void SystemSimulation::live(int steps) {
  std::array<int, 3> order{0, 1, 2};
  for (std::size_t i = order.size() - 1; i > 0; --i) {
    std::swap(order[i], order[_world.random().below(i + 1)]);
  }
  for (const int what : order) {
    if (what == 0) start_finder();
    if (what == 1) start_chassis();
    if (what == 2) start_policyd();
    const TimePoint until = _world.now() + _world.random().between(seconds(0), seconds(3));
    _world.run_until(
        [&] {
          run_while_policyd_starts();
          return _world.now() >= until;
        },
        seconds(3));
  }
  _operator = std::make_unique<XrlStdRouter>(_world.loop(), "", HOST, PORT, false);
  for (int i = 0; i < steps; ++i) step();
}

void SystemSimulation::step() {
  const std::uint64_t drawn = _world.random().below(100);
  if (drawn < 40) {
    change_the_switch();
  } else if (drawn < 70) {
    send_command();
  } else if (drawn < 92) {
    harm_the_network();
  } else {
    restart_something();
  }
  const TimePoint until =
      _world.now() + _world.random().between(milliseconds(0), milliseconds(700));
  _world.run_until(
      [&] {
        run_while_policyd_starts();
        return _world.now() >= until;
      },
      seconds(3));
}

std::string SystemSimulation::drawn_interface() {
  return "eth-0/" + std::to_string(1 + _world.random().below(3)) + "/" +
         std::to_string(1 + _world.random().below(4));
}

// Through the model, as an operator's hand at the hardware; what the model
// refuses (a second interface of a name, ...) did not happen.
void SystemSimulation::change_the_switch() {
  if (!_chassis) return;
  SwitchModel& model = _chassis->model();
  const std::string name = drawn_interface();
  const std::uint32_t vlan = 10 + static_cast<std::uint32_t>(_world.random().below(6)) * 10;
  const std::uint32_t card = get_card_id(name);
  switch (_world.random().below(7)) {
    case 0:
      static_cast<void>(model.add_interface(name));
      break;
    case 1:
      static_cast<void>(model.remove_interface(name));
      break;
    case 2:
      static_cast<void>(model.add_member("lag1", name));
      break;
    case 3:
      static_cast<void>(model.remove_member("lag1", name));
      break;
    case 4:
      static_cast<void>(model.set_card_state(card, CARD_STATES[_world.random().below(4)]));
      break;
    case 5:
      static_cast<void>(model.create_vlan(vlan));
      break;
    default:
      static_cast<void>(model.delete_vlan(vlan));
      break;
  }
}

void SystemSimulation::harm_the_network() {
  const std::uint64_t drawn = _world.random().below(10);
  if (drawn < 3) {
    static_cast<void>(_world.network().cut_random());
  } else if (drawn < 6) {
    // The youngest is the likeliest to carry what nobody will say again.
    const auto connections = _world.network().connections();
    if (!connections.empty()) static_cast<void>(_world.network().cut(connections.back().id));
  } else if (drawn < 8) {
    const auto connections = _world.network().connections();
    if (connections.empty()) return;
    const std::uint64_t id = connections[_world.random().below(connections.size())].id;
    if (_world.network().hold(id)) _held.push_back(id);
  } else if (!_held.empty()) {
    static_cast<void>(_world.network().release(_held.back()));
    _held.pop_back();
  } else {
    _world.network().set_delay(std::chrono::microseconds(10),
                               _world.random().between(milliseconds(1), milliseconds(80)));
  }
}

void SystemSimulation::restart_something() {
  switch (_world.random().below(3)) {
    case 0:
      if (_finder) {
        _world.note("kill finder");
        _finder.reset();
      } else {
        start_finder();
      }
      break;
    case 1:
      if (_chassis) {
        stop_chassis();
      } else {
        start_chassis();
      }
      break;
    default:
      if (_policyd) {
        _world.note("kill policyd");
        _policyd.reset();
      } else {
        start_policyd();
      }
      break;
  }
}

void SystemSimulation::send_command() {
  const std::size_t number = _answers.size();
  const auto count = [this, number] { ++_answers[number]; };
  bool sent = false;
  XrlPolicyConfigV0p1Client policy(_operator.get());
  _answers.push_back(0);
  if (_world.random().chance(500)) {
    XrlAtomList priorities;
    XrlAtomList queues;
    priorities.append(static_cast<std::uint32_t>(_world.random().below(8)));
    queues.append(static_cast<std::uint32_t>(_world.random().below(8)));
    sent = policy.send_set_cos_mapping("policy", priorities, queues,
                                       callback([count](const XrlError&) { count(); }));
  } else {
    sent = policy.send_get_cos_flag("policy",
                                    callback([count](const XrlError&, const bool*) { count(); }));
  }
  if (!sent) _answers.pop_back();
}

void SystemSimulation::calm_down() {
  _world.note("calm");
  for (const std::uint64_t id : _held) static_cast<void>(_world.network().release(id));
  _held.clear();
  _world.network().set_delay(std::chrono::microseconds(50), milliseconds(2));
  if (!_finder) start_finder();
  if (!_chassis) start_chassis();
  if (!_policyd) start_policyd();
}

void SystemSimulation::converge() {
  TimePoint next_check = _world.now();
  _world.run_until(
      [&] {
        run_while_policyd_starts();
        if (_world.now() < next_check) return false;
        next_check = _world.now() + milliseconds(200);
        return _policyd_started && check().empty();
      },
      CALM_LIMIT);
}

std::vector<std::string> SystemSimulation::check() const {
  std::vector<std::string> wrong;
  if (!_policyd_started) {
    wrong.emplace_back("policyd is not registered");
    return wrong;
  }
  check_ports(wrong);
  check_vlans(wrong);
  check_cards(wrong);
  check_answers(wrong);
  return wrong;
}

void SystemSimulation::check_ports(std::vector<std::string>& wrong) const {
  const PolicyTree& tree = _policyd->policy_node().policy_config().policy_tree();
  const auto& atoms = _chassis->model().interfaces().atoms();
  std::vector<std::string> names;
  tree.get_port_names(names);
  std::vector<std::string> expected;
  for (const auto& [name, atom] : atoms) expected.push_back(name);
  if (names != expected) {
    wrong.push_back("the port records are not the interfaces");
    return;
  }
  for (const auto& [name, atom] : atoms) {
    const PolicyPortInfo& port = *tree.find_port(name);
    if (!port.special_card && port.lag_member != atom.lagmember()) {
      wrong.push_back("membership of " + name);
    }
    if (!port.special_card && atom.lagmember() && port.lag_name != atom.lagname()) {
      wrong.push_back("aggregate of " + name);
    }
    if (!port.special_card && port.card_ready != tree.is_card_up(port.card_id)) {
      wrong.push_back("readiness of " + name);
    }
    if (port.special_card && !atom.members().empty() &&
        port.card_id != get_card_id(*atom.members().begin())) {
      wrong.push_back("card of " + name);
    }
  }
}

void SystemSimulation::check_vlans(std::vector<std::string>& wrong) const {
  std::vector<std::uint32_t> ids;
  _policyd->policy_node().policy_config().policy_tree().get_vlan_ids(ids);
  const auto& vlans = _chassis->model().vlans();
  if (ids != std::vector<std::uint32_t>(vlans.begin(), vlans.end())) {
    wrong.emplace_back("the VLAN records are not the VLANs");
  }
}

void SystemSimulation::check_cards(std::vector<std::string>& wrong) const {
  const PolicyTree& tree = _policyd->policy_node().policy_config().policy_tree();
  const SwitchModel& model = _chassis->model();
  // Of every id there is, for policyd may hold one for up that the switch does
  // not know.
  for (std::uint32_t card = FIRST_CARD_ID; card <= LAST_CARD_ID; ++card) {
    if (tree.is_card_up(card) != (model.card_state(card) == CARD_STATE_PRESENT)) {
      wrong.push_back("card " + std::to_string(card));
    }
  }
}

void SystemSimulation::check_answers(std::vector<std::string>& wrong) const {
  for (std::size_t i = 0; i < _answers.size(); ++i) {
    if (_answers[i] == 1) continue;
    wrong.push_back("request " + std::to_string(i) + " got " + std::to_string(_answers[i]) +
                    " answers");
  }
}
