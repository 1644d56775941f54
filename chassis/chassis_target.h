// ChassisTarget: the target "chassis", through which the switch is changed and
// looked into while it runs.
#pragma once

#include "chassis/interfaces/chassis_tgt.h"
#include "platform/managers/switch_model.h"
#include "platform/managers/switch_target.h"
#include "platform/managers/target_set.h"

class ChassisTarget : public SwitchTarget, public CommonHandlers<XrlChassisTargetBase> {
 public:
  // Model and targets must outlive this one, which is none of `targets`.
  ChassisTarget(EventLoop& loop, SwitchModel& model, TargetSet& targets,
                const SwitchProcess& process);

  // Somebody asked the switch to leave.
  [[nodiscard]] bool shutdown_requested() const { return _shutdown_requested; }

  XrlCmdError common_0_1_get_status(std::uint32_t& status, std::string& reason) override;
  XrlCmdError common_0_1_shutdown() override;

  XrlCmdError chassis_0_1_add_interface(std::string_view name) override;
  XrlCmdError chassis_0_1_remove_interface(std::string_view name) override;
  XrlCmdError chassis_0_1_add_member(std::string_view lag, std::string_view name) override;
  XrlCmdError chassis_0_1_remove_member(std::string_view lag, std::string_view name) override;
  XrlCmdError chassis_0_1_set_card_state(std::uint32_t card_id, std::uint32_t card_state) override;
  XrlCmdError chassis_0_1_create_vlan(std::uint32_t vlan_id) override;
  XrlCmdError chassis_0_1_delete_vlan(std::uint32_t vlan_id) override;
  XrlCmdError chassis_0_1_stop_target(std::string_view name) override;
  XrlCmdError chassis_0_1_start_target(std::string_view name) override;
  XrlCmdError chassis_0_1_set_line_card_fault(std::uint32_t slot, std::string_view fault) override;
  XrlCmdError chassis_0_1_get_port_cos_mapping(std::string_view name, XrlAtomList& priorities,
                                               XrlAtomList& queues) override;
  XrlCmdError chassis_0_1_get_line_card_requests(std::uint32_t slot,
                                                 std::uint64_t& requests) override;

 private:
  SwitchModel& _model;
  TargetSet& _targets;
  bool _shutdown_requested = false;
};
