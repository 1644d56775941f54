// What the target hears of the rest of the switch: births and deaths, card
// states, VLANs and the interface tree.
#include <utility>

#include "common/well_known_names.h"
#include "framework/base/xlog.h"
#include "platform/card_id.h"
#include "policy/policy_port_info.h"
#include "policy/policy_replies.h"
#include "policy/policytree.h"
#include "policy/xrl_policy_target.h"

using policy_replies::done_or;

namespace {

// Card states.
constexpr std::uint32_t CARD_UP = 7;
constexpr bool is_card_gone(std::uint32_t card_state) {
  return card_state == 0 || card_state == 8 || card_state == 9;
}

// VLAN events.
constexpr std::uint32_t VLAN_DELETED = 0;
constexpr std::uint32_t VLAN_CREATED = 1;

// An aggregate has no card of its own; it takes the card of its first member.
std::uint32_t card_id_of(const SifMgrIfAtom& atom) {
  const std::uint32_t card_id = get_card_id(atom.name());
  if (card_id != NO_CARD_ID || atom.members().empty()) return card_id;
  return get_card_id(*atom.members().begin());
}

}  // namespace

XrlCmdError XrlPolicyTarget::finder_event_observer_0_1_xrl_target_birth(
    std::string_view target_class, std::string_view /*target_instance*/) {
  if (target_class == well_known_names[NAME_CARD_MANAGER]) {
    register_card_state();
  } else if (target_class == well_known_names[NAME_VLAN]) {
    _vlan_alive = true;
  }
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::finder_event_observer_0_1_xrl_target_death(
    std::string_view target_class, std::string_view /*target_instance*/) {
  // The cards stay as they were: they do not go away with their manager.
  if (target_class == well_known_names[NAME_CARD_MANAGER]) {
    _cardmgr_registered = false;
  } else if (target_class == well_known_names[NAME_VLAN]) {
    _vlan_alive = false;
  }
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::card_state_observer_0_1_card_state_change(std::uint32_t card_id,
                                                                       std::uint32_t card_state) {
  if (card_state == CARD_UP) {
    return done_or(policy_replies::OUT_OF_MEMORY, _policy_tree->set_card_up(card_id));
  }
  if (!is_card_gone(card_state)) return XrlCmdError::BAD_ARGS("card_state is bad.");
  _policy_tree->set_card_down(card_id);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::vlan_observer_0_1_vlan_event(std::uint32_t event,
                                                          std::uint32_t vlan_id) {
  switch (event) {
    case VLAN_DELETED:
      return done_or("vlan does not exist.", _policy_tree->delete_vlan(vlan_id));
    case VLAN_CREATED:
      return done_or("vlan has existed.", _policy_tree->create_vlan(vlan_id));
    default:
      return XrlCmdError::BAD_ARGS("event is bad.");
  }
}

void XrlPolicyTarget::tree_complete() {
  updates_made();
}

void XrlPolicyTarget::updates_made() {
  const SifMgrIfTree& live = _ifmirror.iftree();
  // Made before anything changes. An interface that memory does not suffice
  // for is left out, and is a new one when the tree changes again.
  SifMgrIfTree reconciled = live;
  for (const auto& [name, known] : _iftree.atoms()) {
    const SifMgrIfAtom* atom = live.find(name);
    if (atom == nullptr) {
      _policy_tree->delete_port(name);
    } else if (!follow_known_interface(*atom)) {
      reconciled.remove(name);
    }
  }
  for (const auto& [name, atom] : live.atoms()) {
    if (_iftree.find(name) == nullptr && !follow_new_interface(atom)) reconciled.remove(name);
  }
  _iftree = std::move(reconciled);
}

// False when memory ran out.
bool XrlPolicyTarget::follow_known_interface(const SifMgrIfAtom& atom) {
  PolicyPortInfo* ifp = _policy_tree->find_port(atom.name());
  XLOG_ASSERT(ifp != 0, atom.name());
  if (ifp->special_card) {
    ifp->card_id = card_id_of(atom);
    return true;
  }
  return ifp->set_lag(atom.lagmember(), atom.lagname()) == 0;
}

// False when memory ran out.
bool XrlPolicyTarget::follow_new_interface(const SifMgrIfAtom& atom) {
  // A record is there already when memory ran out after it was made.
  (void)_policy_tree->create_port(atom.name());
  PolicyPortInfo* ifp = _policy_tree->find_port(atom.name());
  if (ifp == nullptr) return false;
  const std::uint32_t card_id = card_id_of(atom);
  if (_policy_tree->is_card_up(card_id)) ifp->card_ready = true;
  if (ifp->special_card) {
    ifp->card_id = card_id;
    return true;
  }
  // A member of no aggregate keeps the defaults of a new record.
  return !atom.lagmember() || ifp->set_lag(true, atom.lagname()) == 0;
}
