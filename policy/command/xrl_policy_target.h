// XrlPolicyTarget: receives every request to the daemon, translates it for
// the stores and answers it; and keeps the daemon's links to its peers.
//
// The links: interest in the births and deaths of the card manager and of the
// VLAN manager, asked for at start; card states, asked for at every birth of
// the card manager; the mirrored interface tree, which the port records
// follow; and the line-card managers, to which class-of-service mappings are
// sent port by port.
//
// A handler answers OKAY, BAD_ARGS for a value outside its range, or
// COMMAND_FAILED for a refusal, each with the text its callers know; a refused
// request changes nothing. It answers before it returns, also where it sends
// requests of its own: those report through their callbacks. The handlers
// stand in the order of the interface files, and in one source file per family.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/base/callback.h"
#include "framework/base/profile.h"
#include "framework/base/service.h"
#include "framework/xrl/router/xrl_router.h"
#include "framework/xrl/xrl_atom_list.h"
#include "framework/xrl/xrl_error.h"
#include "platform/interfaces/lcmgr_xif.h"
#include "platform/sif_mgr_hint_observer.h"
#include "platform/sif_mgr_if_tree.h"
#include "platform/sif_mgr_xrl_mirror.h"
#include "policy/interfaces/policy_tgt.h"
#include "policy/store/port_reconciliation.h"

class EventLoop;
class PolicyConfig;
class PolicyNode;
class PolicyTree;

class XrlPolicyTarget : public XrlPolicyTargetBase,
                        public SifMgrHintObserver,
                        public ServiceBase,
                        public ServiceChangeObserverBase {
 public:
  // Sends nothing. All four must outlive the target.
  XrlPolicyTarget(EventLoop& eventloop, PolicyNode& node, XrlRouter* router, Profile& profile);
  // As after shutdown().
  ~XrlPolicyTarget() override;

  // Between a startup() that succeeded and shutdown().
  [[nodiscard]] bool is_running() const { return _running; }
  // Whether common/0.1/shutdown was received; never taken back.
  [[nodiscard]] bool is_shutdown_requested() const { return _shutdown_requested; }

  // What the peers have confirmed; a request that still awaits its answer
  // changes nothing.
  [[nodiscard]] bool is_finder_cardmgr_registered() const { return _finder_cardmgr_registered; }
  [[nodiscard]] bool is_finder_vlan_registered() const { return _finder_vlan_registered; }
  [[nodiscard]] bool is_cardmgr_registered() const { return _cardmgr_registered; }
  [[nodiscard]] bool is_vlan_alive() const { return _vlan_alive; }

  // Ask the finder to tell of births and deaths of a class, "card_manager" or
  // "vlan", or to tell no longer. 0 when the request was queued; -1 when it
  // was not, and for any other class, for which nothing is sent.
  int register_interest(std::string_view class_name);
  int deregister_interest(std::string_view class_name);
  // Ask the card manager for card states, or for none any more. 0 when the
  // request was queued, -1 when it was not.
  int register_card_state();
  int deregister_card_state();

  // common/0.1
  XrlCmdError common_0_1_get_target_name(std::string& name) override;
  XrlCmdError common_0_1_get_version(std::string& version) override;
  XrlCmdError common_0_1_get_status(std::uint32_t& status, std::string& reason) override;
  XrlCmdError common_0_1_shutdown() override;

  // finder_event_observer/0.1
  XrlCmdError finder_event_observer_0_1_xrl_target_birth(std::string_view target_class,
                                                         std::string_view target_instance) override;
  XrlCmdError finder_event_observer_0_1_xrl_target_death(std::string_view target_class,
                                                         std::string_view target_instance) override;

  // card_state_observer/0.1
  XrlCmdError card_state_observer_0_1_card_state_change(std::uint32_t card_id,
                                                        std::uint32_t card_state) override;

  // vlan_observer/0.1
  XrlCmdError vlan_observer_0_1_vlan_event(std::uint32_t event, std::uint32_t vlan_id) override;

  // policy_config/0.1
  // Time ranges.
  XrlCmdError policy_config_0_1_create_time_range(std::string_view name, std::uint32_t number1,
                                                  std::uint32_t number2, bool flag,
                                                  std::uint32_t number3,
                                                  std::uint32_t number4) override;
  XrlCmdError policy_config_0_1_delete_time_range(std::string_view name) override;
  XrlCmdError policy_config_0_1_clear_time_ranges() override;
  XrlCmdError policy_config_0_1_get_time_range(std::string_view name, std::uint32_t& number1,
                                               std::uint32_t& number2, bool& flag,
                                               std::uint32_t& number3,
                                               std::uint32_t& number4) override;
  XrlCmdError policy_config_0_1_get_time_ranges(XrlAtomList& names, XrlAtomList& number1s,
                                                XrlAtomList& number2s, XrlAtomList& flags,
                                                XrlAtomList& number3s,
                                                XrlAtomList& number4s) override;

  // Access control lists.
  XrlCmdError policy_config_0_1_create_acl(std::uint32_t acl, std::uint32_t type) override;
  XrlCmdError policy_config_0_1_get_acls(XrlAtomList& acls, XrlAtomList& types,
                                         XrlAtomList& descriptions) override;
  XrlCmdError policy_config_0_1_delete_acl(std::uint32_t acl) override;
  XrlCmdError policy_config_0_1_set_acl_description(std::uint32_t acl,
                                                    std::string_view description) override;
  XrlCmdError policy_config_0_1_get_acl_description(std::uint32_t acl,
                                                    std::string& description) override;
  XrlCmdError policy_config_0_1_unset_acl_description(std::uint32_t acl) override;

  // Rules: `flags` are field numbers 0..36, `values` their texts, aligned.
  XrlCmdError policy_config_0_1_create_rule(std::uint32_t acl, std::uint32_t rule,
                                            std::uint32_t action, const XrlAtomList& flags,
                                            const XrlAtomList& values) override;
  XrlCmdError policy_config_0_1_delete_rule(std::uint32_t acl, std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_set_rule_description(std::uint32_t acl, std::uint32_t rule,
                                                     std::string_view description) override;
  XrlCmdError policy_config_0_1_unset_rule_description(std::uint32_t acl,
                                                       std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_get_rule_description(std::uint32_t acl, std::uint32_t rule,
                                                     std::string& description) override;
  XrlCmdError policy_config_0_1_get_rules(std::uint32_t acl, XrlAtomList& rules,
                                          std::uint32_t& type) override;
  XrlCmdError policy_config_0_1_get_rule(std::uint32_t acl, std::uint32_t rule,
                                         std::uint32_t& action, std::string& description,
                                         XrlAtomList& flags, XrlAtomList& values) override;

  // Packet filters: rules bound to ports and VLANs.
  XrlCmdError policy_config_0_1_set_all_ports_packet_filter(std::uint32_t acl,
                                                            std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_set_port_packet_filter(std::string_view ifname, std::uint32_t acl,
                                                       std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_set_vlan_packet_filter(std::uint32_t vlan, std::uint32_t acl,
                                                       std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_delete_all_ports_packet_filter(std::uint32_t acl,
                                                               std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_delete_port_packet_filter(std::string_view ifname,
                                                          std::uint32_t acl,
                                                          std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_delete_vlan_packet_filter(std::uint32_t vlan, std::uint32_t acl,
                                                          std::uint32_t rule) override;
  XrlCmdError policy_config_0_1_clear_all_packet_filters() override;
  XrlCmdError policy_config_0_1_clear_port_packet_filters(std::string_view ifname) override;
  XrlCmdError policy_config_0_1_clear_vlan_packet_filters(std::uint32_t vlan) override;

  // The third list is always empty.
  XrlCmdError policy_config_0_1_get_port_packet_filters(std::string_view ifname, XrlAtomList& acls,
                                                        XrlAtomList& rules,
                                                        XrlAtomList& extras) override;
  XrlCmdError policy_config_0_1_get_vlan_packet_filters(std::uint32_t vlan, XrlAtomList& acls,
                                                        XrlAtomList& rules,
                                                        XrlAtomList& extras) override;

  // Class of service: flag, scheduling mode, per-port value.
  XrlCmdError policy_config_0_1_set_cos_flag(bool flag) override;
  XrlCmdError policy_config_0_1_get_cos_flag(bool& flag) override;
  XrlCmdError policy_config_0_1_set_schedule_mode(std::uint32_t mode) override;
  XrlCmdError policy_config_0_1_get_schedule_mode(std::uint32_t& mode) override;
  XrlCmdError policy_config_0_1_set_port_cos_value(std::string_view ifname,
                                                   std::uint32_t value) override;
  XrlCmdError policy_config_0_1_get_port_cos_value(std::string_view ifname,
                                                   std::uint32_t& value) override;

  // Maps to egress queues; `queues` is aligned with the other list.
  XrlCmdError policy_config_0_1_set_cos_mapping(const XrlAtomList& priorities,
                                                const XrlAtomList& queues) override;
  XrlCmdError policy_config_0_1_get_cos_mapping(const XrlAtomList& priorities,
                                                XrlAtomList& queues) override;
  XrlCmdError policy_config_0_1_set_dscp_queue(const XrlAtomList& dscps,
                                               const XrlAtomList& queues) override;
  XrlCmdError policy_config_0_1_get_dscp_queue(const XrlAtomList& dscps,
                                               XrlAtomList& queues) override;
  XrlCmdError policy_config_0_1_set_priority_queue(const XrlAtomList& priorities,
                                                   const XrlAtomList& queues) override;
  XrlCmdError policy_config_0_1_get_priority_queue(const XrlAtomList& priorities,
                                                   XrlAtomList& queues) override;

  // Remarks: values that packets of an existing rule with action 1 are to carry;
  // the rule need not be bound. kind 0: DSCP 0..63, 1: priority 0..7, 2: a two-bit value.
  XrlCmdError policy_config_0_1_remark_all_port_priority(std::uint32_t acl_id,
                                                         std::uint32_t rule_id, std::uint32_t kind,
                                                         std::uint32_t value) override;
  XrlCmdError policy_config_0_1_unremark_all_port_priority(std::uint32_t acl_id,
                                                           std::uint32_t rule_id) override;
  XrlCmdError policy_config_0_1_clear_all_port_remark() override;
  XrlCmdError policy_config_0_1_remark_port_priority(std::string_view ifname, std::uint32_t acl_id,
                                                     std::uint32_t rule_id, std::uint32_t kind,
                                                     std::uint32_t value) override;
  XrlCmdError policy_config_0_1_unremark_port_priority(std::string_view ifname,
                                                       std::uint32_t acl_id,
                                                       std::uint32_t rule_id) override;
  XrlCmdError policy_config_0_1_clear_port_remark(std::string_view ifname) override;
  XrlCmdError policy_config_0_1_get_port_remark(std::string_view ifname, XrlAtomList& acl_ids,
                                                XrlAtomList& rule_ids, XrlAtomList& kinds,
                                                XrlAtomList& values) override;
  XrlCmdError policy_config_0_1_remark_vlan_priority(std::uint32_t vlan_id, std::uint32_t acl_id,
                                                     std::uint32_t rule_id, std::uint32_t kind,
                                                     std::uint32_t value) override;
  XrlCmdError policy_config_0_1_unremark_vlan_priority(std::uint32_t vlan_id, std::uint32_t acl_id,
                                                       std::uint32_t rule_id) override;
  XrlCmdError policy_config_0_1_clear_vlan_remark(std::uint32_t vlan_id) override;
  XrlCmdError policy_config_0_1_get_vlan_remark(std::uint32_t vlan_id, XrlAtomList& acl_ids,
                                                XrlAtomList& rule_ids, XrlAtomList& kinds,
                                                XrlAtomList& values) override;

  // Queue scheduling: four weights, for queues 0..3.
  XrlCmdError policy_config_0_1_set_schedule_algorithm(std::uint32_t algorithm,
                                                       const XrlAtomList& weights) override;
  XrlCmdError policy_config_0_1_get_schedule_algorithm(std::uint32_t& algorithm,
                                                       XrlAtomList& weights) override;

  // profile/0.1
  XrlCmdError profile_0_1_enable(std::string_view pname) override;
  XrlCmdError profile_0_1_disable(std::string_view pname) override;
  XrlCmdError profile_0_1_get_entries(std::string_view pname,
                                      std::string_view instance_name) override;
  XrlCmdError profile_0_1_clear(std::string_view pname) override;
  XrlCmdError profile_0_1_list(std::string& info) override;

  // Starts the mirror and registers interest. -1 when the mirror does not
  // start: the service has then failed, and nothing was registered.
  int startup() override;
  // Withdraws the interest that was confirmed, the card manager's first, and
  // stops the mirror. The card-state registration stands: the card manager
  // drops it when this process is gone. May be repeated.
  int shutdown() override;

  // The mirror's status means nothing here: the tree speaks for itself.
  void status_change(ServiceBase* service, ServiceStatus old_status,
                     ServiceStatus new_status) override;

  // Both bring the port records in step with the mirrored interface tree; what
  // memory does not suffice for is warned about and tried again.
  void tree_complete() override;
  void updates_made() override;

 private:
  // What runs when a request of ours was answered.
  using Confirmed = void (XrlPolicyTarget::*)(const XrlError& error);

  // Sends the finder what `send` is for, with the class's own of the two
  // callbacks. 0 or -1 as register_interest().
  template <typename Send>
  int send_interest(Send send, std::string_view class_name, Confirmed cardmgr_cb,
                    Confirmed vlan_cb);
  void finder_register_interest_cardmgr_cb(const XrlError& error);
  void finder_register_interest_vlan_cb(const XrlError& error);
  void finder_deregister_interest_cardmgr_cb(const XrlError& error);
  void finder_deregister_interest_vlan_cb(const XrlError& error);
  void card_state_registered_response(const XrlError& error);
  void card_state_deregistered_response(const XrlError& error);
  void send_set_cos_mapping_to_lcmgr_cb(const XrlError& error, std::uint32_t priority,
                                        std::uint32_t queue);

  EventLoop& _eventloop;
  PolicyNode& _node;  // whose parts below are all that is used of it
  XrlRouter* _router;
  bool _finder_cardmgr_registered = false;
  bool _cardmgr_registered = false;
  XrlAtomList _card_states;
  bool _finder_vlan_registered = false;
  bool _vlan_alive = false;
  Profile& _profile;
  PolicyConfig* _policy_config;
  PolicyTree* _policy_tree;
  SifMgrXrlMirror _ifmirror;
  SifMgrIfTree _iftree;  // as of the last reconciliation
  PortReconciliation _port_reconciliation;
  bool _running = false;
  bool _shutdown_requested = false;
  XrlLcmgrV0p1Client _lcmgr;
  Lifeline _lifeline;
};
