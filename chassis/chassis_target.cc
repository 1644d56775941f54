#include "chassis/chassis_target.h"

#include "platform/managers/answer.h"

namespace {

constexpr Refusal NO_LINE_CARD = "the line card does not exist.";

}  // namespace

ChassisTarget::ChassisTarget(EventLoop& loop, SwitchModel& model, TargetSet& targets,
                             const SwitchProcess& process)
    : SwitchTarget(loop, process.name, process),
      CommonHandlers<XrlChassisTargetBase>(&router(), process),
      _model(model),
      _targets(targets) {}

XrlCmdError ChassisTarget::common_0_1_get_status(std::uint32_t& status, std::string& reason) {
  if (!_shutdown_requested) {
    return CommonHandlers<XrlChassisTargetBase>::common_0_1_get_status(status, reason);
  }
  status = TARGET_SHUTTING_DOWN;
  return XrlCmdError::OKAY();
}

XrlCmdError ChassisTarget::common_0_1_shutdown() {
  _shutdown_requested = true;
  return XrlCmdError::OKAY();
}

XrlCmdError ChassisTarget::chassis_0_1_add_interface(std::string_view name) {
  return answer(_model.add_interface(name));
}

XrlCmdError ChassisTarget::chassis_0_1_remove_interface(std::string_view name) {
  return answer(_model.remove_interface(name));
}

XrlCmdError ChassisTarget::chassis_0_1_add_member(std::string_view lag, std::string_view name) {
  return answer(_model.add_member(lag, name));
}

XrlCmdError ChassisTarget::chassis_0_1_remove_member(std::string_view lag, std::string_view name) {
  return answer(_model.remove_member(lag, name));
}

XrlCmdError ChassisTarget::chassis_0_1_set_card_state(std::uint32_t card_id,
                                                      std::uint32_t card_state) {
  return answer(_model.set_card_state(card_id, card_state));
}

XrlCmdError ChassisTarget::chassis_0_1_create_vlan(std::uint32_t vlan_id) {
  return answer(_model.create_vlan(vlan_id));
}

XrlCmdError ChassisTarget::chassis_0_1_delete_vlan(std::uint32_t vlan_id) {
  return answer(_model.delete_vlan(vlan_id));
}

XrlCmdError ChassisTarget::chassis_0_1_stop_target(std::string_view name) {
  return answer(_targets.stop(name));
}

XrlCmdError ChassisTarget::chassis_0_1_start_target(std::string_view name) {
  return answer(_targets.start(name));
}

XrlCmdError ChassisTarget::chassis_0_1_set_line_card_fault(std::uint32_t slot,
                                                           std::string_view fault) {
  LineCardFault parsed{};
  if (!line_card_fault_from_name(fault, parsed)) {
    return XrlCmdError::BAD_ARGS("fault is none of none, refuse, silent, close.");
  }
  LineCard* card = _model.find_line_card(slot);
  if (card == nullptr) return answer(NO_LINE_CARD);
  card->set_fault(parsed);
  return XrlCmdError::OKAY();
}

XrlCmdError ChassisTarget::chassis_0_1_get_port_cos_mapping(std::string_view name,
                                                            XrlAtomList& priorities,
                                                            XrlAtomList& queues) {
  if (_model.interfaces().find(name) == nullptr) return answer("the interface does not exist.");
  const Usp usp = usp_of_interface(name);
  for (const auto& [priority, queue] : _model.find_line_card(usp.slot)->cos_mapping(usp)) {
    priorities.append(priority);
    queues.append(queue);
  }
  return XrlCmdError::OKAY();
}

XrlCmdError ChassisTarget::chassis_0_1_get_line_card_requests(std::uint32_t slot,
                                                              std::uint64_t& requests) {
  const LineCard* card = _model.find_line_card(slot);
  if (card == nullptr) return answer(NO_LINE_CARD);
  requests = card->requests();
  return XrlCmdError::OKAY();
}
