#include "tests/simulation/system_checks.h"

#include <map>
#include <optional>

#include "platform/card_id.h"
#include "policy/interfaces/policy_config_xif.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policytree.h"

namespace system_checks {

namespace {

using std::chrono::seconds;

// Longer than any request is waited for.
constexpr seconds ANSWER_LIMIT{40};
constexpr std::uint32_t PRIORITIES = 8;
// What the routers of the system make at most, all of them looking for the finder
// at the shortest distance, twice over.
constexpr std::uint64_t MAX_CONNECTIONS_IN_A_SECOND = 300;
// Of a process: a listener, the finder and each peer twice, for ten routers.
constexpr std::size_t MAX_DESCRIPTORS = 120;

const PolicyTree& tree_of(SystemSimulation& system) {
  return system.policyd().policy_node().policy_config().policy_tree();
}

void check_port(const PolicyTree& tree, const PolicyPortInfo& port, const SifMgrIfAtom& atom,
                Wrong& wrong) {
  const std::string& name = atom.name();
  if (port.special_card) {
    if (!atom.members().empty() && port.card_id != get_card_id(*atom.members().begin())) {
      wrong.push_back("card of " + name);
    }
    return;
  }
  if (port.lag_member != atom.lagmember()) wrong.push_back("membership of " + name);
  if (atom.lagmember() && port.lag_name != atom.lagname()) wrong.push_back("aggregate of " + name);
  if (port.card_ready != tree.is_card_up(port.card_id)) wrong.push_back("readiness of " + name);
}

void check_ports(SystemSimulation& system, Wrong& wrong) {
  const PolicyTree& tree = tree_of(system);
  const auto& atoms = system.chassis().model().interfaces().atoms();
  std::vector<std::string> names;
  tree.get_port_names(names);
  std::vector<std::string> expected;
  for (const auto& [name, atom] : atoms) expected.push_back(name);
  if (names != expected) {
    wrong.emplace_back("the port records are not the interfaces");
    return;
  }
  for (const auto& [name, atom] : atoms) check_port(tree, *tree.find_port(name), atom, wrong);
}

void check_vlans(SystemSimulation& system, Wrong& wrong) {
  std::vector<std::uint32_t> ids;
  tree_of(system).get_vlan_ids(ids);
  const auto& vlans = system.chassis().model().vlans();
  if (ids != std::vector<std::uint32_t>(vlans.begin(), vlans.end())) {
    wrong.emplace_back("the VLAN records are not the VLANs");
  }
}

// Of every id there is, for policyd may hold one for up that the switch does not know.
void check_cards(SystemSimulation& system, Wrong& wrong) {
  const SwitchModel& model = system.chassis().model();
  for (std::uint32_t card = FIRST_CARD_ID; card <= LAST_CARD_ID; ++card) {
    if (tree_of(system).is_card_up(card) != (model.card_state(card) == CARD_STATE_PRESENT)) {
      wrong.push_back("card " + std::to_string(card));
    }
  }
}

void check_registrations(SystemSimulation& system, Wrong& wrong) {
  const XrlPolicyTarget& target = system.policyd().xrl_policy_target();
  if (!target.is_cardmgr_registered()) wrong.emplace_back("not registered for card states");
  if (!target.is_vlan_alive()) wrong.emplace_back("the VLAN manager is not known to live");
  if (!system.chassis().is_ready()) wrong.emplace_back("the chassis is not registered");
  std::map<std::string, int> wanted;
  for (const char* name : {"card_manager", "vlan"}) ++wanted[name];
  for (const FinderInterest& interest : system.finder().registry().interests()) {
    if (interest.requester == system.policyd().xrl_router().instance_name()) {
      --wanted[interest.class_name];
    }
  }
  for (const auto& [name, missing] : wanted) {
    if (missing != 0) wrong.push_back("interest in " + name);
  }
}

void check_answers(SystemSimulation& system, Wrong& wrong) {
  const std::vector<int>& answers = system.answers();
  for (std::size_t i = 0; i < answers.size(); ++i) {
    if (answers[i] == 1) continue;
    wrong.push_back("request " + std::to_string(i) + " got " + std::to_string(answers[i]) +
                    " answers");
  }
  if (system.operator_router().pending() != 0) wrong.emplace_back("the operator still waits");
  if (system.policyd().xrl_router().pending() != 0) wrong.emplace_back("policyd still waits");
}

// What a request of the operator was answered; nothing when none came.
template <typename Send>
std::optional<XrlError> answer_of(SystemSimulation& system, Send send) {
  std::optional<XrlError> answer;
  system.operator_process().enter();
  const bool sent = send(XrlPolicyConfigV0p1Client(&system.operator_router()),
                         [&answer](const XrlError& error) { answer = error; });
  if (!sent) return answer;
  static_cast<void>(system.run_until([&] { return answer.has_value(); }, ANSWER_LIMIT));
  return answer;
}

template <typename Send>
bool is_done(SystemSimulation& system, const std::string& what, Wrong& wrong, Send send) {
  const std::optional<XrlError> answer = answer_of(system, send);
  if (answer.has_value() && answer->is_okay()) return true;
  wrong.push_back(what + ": " + (answer.has_value() ? answer->str() : "no answer"));
  return false;
}

std::map<std::uint32_t, std::uint64_t> requests_by_slot(SystemSimulation& system) {
  std::map<std::uint32_t, std::uint64_t> requests;
  for (const auto& [slot, card] : system.chassis().model().line_cards()) {
    requests[slot] = card.requests();
  }
  return requests;
}

std::uint32_t queue_of(std::uint64_t seed, std::uint32_t priority) {
  return static_cast<std::uint32_t>(seed + 3 * priority) % PRIORITIES;
}

}  // namespace

void check_agreement(SystemSimulation& system, Wrong& wrong) {
  if (!system.policyd_has_started()) {
    wrong.emplace_back("policyd is not registered");
    return;
  }
  check_ports(system, wrong);
  check_vlans(system, wrong);
  check_cards(system, wrong);
  check_registrations(system, wrong);
  check_answers(system, wrong);
}

void check_map(SystemSimulation& system, Wrong& wrong) {
  const std::uint64_t seed = system.world().seed();
  XrlAtomList priorities;
  XrlAtomList queues;
  for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) {
    priorities.append(priority);
    queues.append(queue_of(seed, priority));
  }
  std::map<std::uint32_t, std::uint64_t> expected = requests_by_slot(system);
  const bool is_set = is_done(system, "a whole map", wrong, [&](auto policy, auto done) {
    return policy.send_set_cos_mapping("policy", priorities, queues, callback(done));
  });
  if (!is_set) return;
  static_cast<void>(
      system.run_until([&] { return system.policyd().xrl_router().pending() == 0; }, ANSWER_LIMIT));
  SwitchModel& model = system.chassis().model();
  for (const auto& [name, atom] : model.interfaces().atoms()) {
    const Usp usp = usp_of_interface(name);
    expected[usp.slot] += PRIORITIES;
    const LineCard::CosMapping& mapping = model.find_line_card(usp.slot)->cos_mapping(usp);
    for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) {
      const auto at = mapping.find(priority);
      if (at == mapping.end() || at->second != queue_of(seed, priority)) {
        wrong.push_back("queue of priority " + std::to_string(priority) + " at " + name);
      }
    }
  }
  for (const auto& [slot, requests] : requests_by_slot(system)) {
    if (requests == expected[slot]) continue;
    wrong.push_back("slot " + std::to_string(slot) + " was sent " + std::to_string(requests) +
                    " requests, not " + std::to_string(expected[slot]));
  }
}

void check_bindings(SystemSimulation& system, Wrong& wrong) {
  is_done(system, "clearing the filters", wrong, [](auto policy, auto done) {
    return policy.send_clear_all_packet_filters("policy", callback(done));
  });
  std::vector<std::uint32_t> acls;
  tree_of(system).get_acl_ids(acls);
  for (const std::uint32_t acl : acls) {
    is_done(system, "deleting acl " + std::to_string(acl), wrong, [&](auto policy, auto done) {
      return policy.send_delete_acl("policy", acl, callback(done));
    });
  }
}

void check_quiet(SystemSimulation& system, Wrong& wrong) {
  const SimNetwork& network = system.world().network();
  // Who has to find out that an observer has died unheard takes so long.
  system.run_until([] { return false; }, seconds(30));
  const std::uint64_t bytes = network.bytes_written();
  const std::uint64_t connections = network.connections_made();
  system.run_until([] { return false; }, seconds(60));
  if (network.bytes_written() != bytes) {
    wrong.push_back(std::to_string(network.bytes_written() - bytes) + " bytes in a quiet minute");
  }
  if (network.connections_made() != connections) {
    wrong.push_back(std::to_string(network.connections_made() - connections) +
                    " connections in a quiet minute");
  }
  if (system.most_connections_in_a_second() > MAX_CONNECTIONS_IN_A_SECOND) {
    wrong.push_back(std::to_string(system.most_connections_in_a_second()) +
                    " connections within a second");
  }
}

void check_leftovers(SystemSimulation& system, Wrong& wrong) {
  for (const SimProcess* process : system.processes()) {
    if (process->descriptors().open > MAX_DESCRIPTORS) {
      wrong.push_back(std::to_string(process->descriptors().open) + " descriptors are open");
    }
  }
}

}  // namespace system_checks
