// What the target hears of the rest of the switch: births and deaths, card
// states, VLANs and the interface tree.
#include "common/switch_vocabulary.h"
#include "common/well_known_names.h"
#include "policy/command/policy_replies.h"
#include "policy/command/xrl_policy_target.h"
#include "policy/store/policytree.h"

using policy_replies::done_or;

namespace {

// For want of memory an event is not refused: a refusal would settle it, while
// who told it is to tell it again.
XrlCmdError done_or_told_again(int result) {
  if (result == 0) return XrlCmdError::OKAY();
  return XrlCmdError(XrlError::INTERNAL_ERROR(policy_replies::OUT_OF_MEMORY));
}

}  // namespace

XrlCmdError XrlPolicyTarget::finder_event_observer_0_1_xrl_target_birth(
    std::string_view target_class, std::string_view target_instance) {
  _router->end_instances_before(target_class, target_instance);
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
  if (card_state == CARD_STATE_PRESENT) {
    return done_or_told_again(_policy_tree->set_card_up(card_id));
  }
  if (!is_card_gone(card_state)) return XrlCmdError::BAD_ARGS("card_state is bad.");
  _policy_tree->set_card_down(card_id);
  return XrlCmdError::OKAY();
}

// VLANs are followed whether their manager is known to be alive or not: its
// events may come before the finder's news of its birth.
XrlCmdError XrlPolicyTarget::vlan_observer_0_1_vlan_event(std::uint32_t event,
                                                          std::uint32_t vlan_id) {
  switch (event) {
    case VLAN_DELETED:
      return done_or("vlan does not exist.", _policy_tree->delete_vlan(vlan_id));
    case VLAN_CREATED:
      if (_policy_tree->find_vlan(vlan_id) != nullptr) {
        return XrlCmdError::COMMAND_FAILED("vlan has existed.");
      }
      return done_or_told_again(_policy_tree->create_vlan(vlan_id));
    default:
      return XrlCmdError::BAD_ARGS("event is bad.");
  }
}

void XrlPolicyTarget::tree_complete() {
  updates_made();
}

void XrlPolicyTarget::updates_made() {
  _port_reconciliation.updates_made();
}
