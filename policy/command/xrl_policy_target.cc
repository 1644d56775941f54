#include "policy/command/xrl_policy_target.h"

#include <vector>

#include "common/switch_vocabulary.h"
#include "common/well_known_names.h"
#include "framework/base/xlog.h"
#include "framework/xrl/interfaces/common_status.h"
#include "framework/xrl/interfaces/finder_event_notifier_xif.h"
#include "platform/interfaces/card_manager_xif.h"
#include "platform/usp.h"
#include "policy/command/list_arguments.h"
#include "policy/store/policy_node.h"
#include "policy/store/policyconfig.h"
#include "policy/store/policytree.h"

namespace {

constexpr const char* FINDER = well_known_names[NAME_FINDER];
constexpr const char* CARD_MANAGER = well_known_names[NAME_CARD_MANAGER];
constexpr const char* VLAN = well_known_names[NAME_VLAN];
constexpr const char* SIF = well_known_names[NAME_SIF];

constexpr const char* VERSION = "policy/0.0";

// Sets the flag to what a peer has now confirmed, or warns that it has not.
void note_confirmation(const XrlError& error, bool& flag, bool confirmed, const std::string& where,
                       const char* warning) {
  if (error == XrlError::OKAY()) {
    flag = confirmed;
  } else {
    xlog_warning(XLOG_MODULE_NAME, where, "%s", warning);
  }
}

}  // namespace

XrlPolicyTarget::XrlPolicyTarget(EventLoop& eventloop, PolicyNode& node, XrlRouter* router,
                                 Profile& profile)
    : XrlPolicyTargetBase(router),
      ServiceBase("Unknown"),
      _eventloop(eventloop),
      _node(node),
      _router(router),
      _profile(profile),
      _policy_config(&node.policy_config()),
      _policy_tree(&_policy_config->policy_tree()),
      _ifmirror(eventloop, SIF, router->finder_address(), router->finder_port()),
      _port_reconciliation(_eventloop, *_policy_tree, _ifmirror.iftree(), _iftree,
                           [this] { _router->note_change(); }),
      _lcmgr(router->sender()) {
  // The states asked for and the states acted upon
  // (card_state_observer_0_1_card_state_change) are two lists, fixed with the
  // card manager each by itself.
  for (const std::uint32_t state : {0U, 8U, 4U, 9U}) _card_states.append(state);
  _ifmirror.set_observer(this);
  _ifmirror.attach_hint_observer(this);
}

XrlPolicyTarget::~XrlPolicyTarget() {
  XrlPolicyTarget::shutdown();
  _ifmirror.unset_observer(this);
  _ifmirror.detach_hint_observer(this);
}

int XrlPolicyTarget::startup() {
  // At the construction a finder told by name has no address yet.
  _ifmirror.set_finder_address(_router->finder_address());
  if (_ifmirror.startup() != 0) {
    set_status(SERVICE_FAILED);
    return -1;
  }
  register_interest(CARD_MANAGER);
  register_interest(VLAN);
  _running = true;
  return 0;
}

int XrlPolicyTarget::shutdown() {
  _running = false;
  if (_finder_cardmgr_registered) deregister_interest(CARD_MANAGER);
  if (_finder_vlan_registered) deregister_interest(VLAN);
  _port_reconciliation.stop();
  return _ifmirror.shutdown();
}

void XrlPolicyTarget::status_change(ServiceBase* /*service*/, ServiceStatus /*old_status*/,
                                    ServiceStatus /*new_status*/) {}

XrlCmdError XrlPolicyTarget::common_0_1_get_target_name(std::string& name) {
  name = cmds()->name();
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::common_0_1_get_version(std::string& version) {
  version = VERSION;
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::common_0_1_get_status(std::uint32_t& status, std::string& reason) {
  status = _shutdown_requested ? TARGET_SHUTTING_DOWN : TARGET_READY;
  reason = _shutdown_requested ? "" : "ready";
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::common_0_1_shutdown() {
  _shutdown_requested = true;
  return XrlCmdError::OKAY();
}

// Interest at the finder, card states at the card manager.

int XrlPolicyTarget::register_interest(std::string_view class_name) {
  return send_interest(&XrlFinderEventNotifierV0p1Client::send_register_class_event_interest,
                       class_name, &XrlPolicyTarget::finder_register_interest_cardmgr_cb,
                       &XrlPolicyTarget::finder_register_interest_vlan_cb);
}

int XrlPolicyTarget::deregister_interest(std::string_view class_name) {
  return send_interest(&XrlFinderEventNotifierV0p1Client::send_deregister_class_event_interest,
                       class_name, &XrlPolicyTarget::finder_deregister_interest_cardmgr_cb,
                       &XrlPolicyTarget::finder_deregister_interest_vlan_cb);
}

template <typename Send>
int XrlPolicyTarget::send_interest(Send send, std::string_view class_name, Confirmed cardmgr_cb,
                                   Confirmed vlan_cb) {
  if (class_name != CARD_MANAGER && class_name != VLAN) return -1;
  const Confirmed done = class_name == VLAN ? vlan_cb : cardmgr_cb;
  XrlFinderEventNotifierV0p1Client finder(_router->sender());
  const bool queued =
      (finder.*send)(FINDER, _router->instance_name(), class_name, callback(_lifeline, this, done));
  return queued ? 0 : -1;
}

int XrlPolicyTarget::register_card_state() {
  XrlCardManagerV0p1Client card_manager(_router->sender());
  const bool queued = card_manager.send_register_card_state(
      CARD_MANAGER, _card_states, _router->instance_name(),
      callback(_lifeline, this, &XrlPolicyTarget::card_state_registered_response));
  return queued ? 0 : -1;
}

int XrlPolicyTarget::deregister_card_state() {
  XrlCardManagerV0p1Client card_manager(_router->sender());
  const bool queued = card_manager.send_deregister_card_state(
      CARD_MANAGER, _card_states, _router->instance_name(),
      callback(_lifeline, this, &XrlPolicyTarget::card_state_deregistered_response));
  return queued ? 0 : -1;
}

void XrlPolicyTarget::finder_register_interest_cardmgr_cb(const XrlError& error) {
  note_confirmation(error, _finder_cardmgr_registered, true, XLOG_WHERE(),
                    "Attempt to register to finder failed");
}

void XrlPolicyTarget::finder_deregister_interest_cardmgr_cb(const XrlError& error) {
  note_confirmation(error, _finder_cardmgr_registered, false, XLOG_WHERE(),
                    "Attempt to deregister to finder failed");
}

void XrlPolicyTarget::finder_register_interest_vlan_cb(const XrlError& error) {
  note_confirmation(error, _finder_vlan_registered, true, XLOG_WHERE(),
                    "Attempt to register vlan to finder failed");
}

void XrlPolicyTarget::finder_deregister_interest_vlan_cb(const XrlError& error) {
  note_confirmation(error, _finder_vlan_registered, false, XLOG_WHERE(),
                    "Attempt to deregister vlan to finder failed");
}

void XrlPolicyTarget::card_state_registered_response(const XrlError& error) {
  note_confirmation(error, _cardmgr_registered, true, XLOG_WHERE(),
                    "Attempt to register to cardmgr failed");
}

void XrlPolicyTarget::card_state_deregistered_response(const XrlError& error) {
  note_confirmation(error, _cardmgr_registered, false, XLOG_WHERE(),
                    "Attempt to deregister to cardmgr failed");
}

// The class-of-service mapping, port by port to the line cards. The store
// learns of a pair when a line card has confirmed it.

XrlCmdError XrlPolicyTarget::policy_config_0_1_set_cos_mapping(const XrlAtomList& priorities,
                                                               const XrlAtomList& queues) {
  if (!are_queue_pairs(priorities, MAX_PRIORITY, queues)) {
    return XrlCmdError::BAD_ARGS("bad priority and queue.");
  }
  std::vector<std::string> names;
  _policy_tree->get_port_names(names);
  for (const std::string& name : names) {
    Usp usp;
    ifname_to_usp(name, usp);  // what is no physical port goes to slot 0
    const std::string lcmgr = line_card_manager(usp.slot);
    for (std::size_t i = 0; i < priorities.size(); ++i) {
      const std::uint32_t priority = priorities.u32_at(i);
      const std::uint32_t queue = queues.u32_at(i);
      const bool queued = _lcmgr.send_set_port_cos_mapping(
          lcmgr, usp.unit, usp.slot, usp.port, priority, queue,
          callback(_lifeline, this, &XrlPolicyTarget::send_set_cos_mapping_to_lcmgr_cb, priority,
                   queue));
      if (!queued) {
        XLOG_WARNING("Failed to send xrl to %s.", lcmgr.c_str());
        return XrlCmdError::COMMAND_FAILED("failed to set cos mapping.");
      }
    }
  }
  return XrlCmdError::OKAY();
}

void XrlPolicyTarget::send_set_cos_mapping_to_lcmgr_cb(const XrlError& error,
                                                       std::uint32_t priority,
                                                       std::uint32_t queue) {
  if (!error.is_okay()) {
    XLOG_WARNING("failed to attempt to set cos mapping by lcmgr.");
    return;
  }
  _policy_config->set_cos_mapping(priority, queue);
  _router->note_change();
}
