#include "platform/managers/vlan_target.h"

#include "common/switch_vocabulary.h"
#include "common/well_known_names.h"
#include "platform/interfaces/vlan_observer_xif.h"

namespace {

constexpr std::string_view POLICY_CLASS = well_known_names[NAME_POLICY];

}  // namespace

VlanTarget::VlanTarget(EventLoop& loop, SwitchModel& model, const SwitchProcess& process)
    : SwitchTarget(loop, well_known_names[NAME_VLAN], process),
      CommonHandlers<XrlVlanTargetBase>(&router(), process),
      _loop(loop),
      _model(model),
      _watch(loop, *router().sender(), router().instance_name(), std::string(POLICY_CLASS)) {
  _model.add_observer(this);
}

VlanTarget::~VlanTarget() {
  _model.remove_observer(this);
}

XrlCmdError VlanTarget::finder_event_observer_0_1_xrl_target_birth(
    std::string_view target_class, std::string_view target_instance) {
  if (target_class != POLICY_CLASS) return XrlCmdError::OKAY();
  if (_policy == nullptr || _policy->instance != target_instance) {
    _policy = make_policy(target_instance);
  }
  _policy->teller.try_now();
  for (std::uint32_t id = FIRST_VLAN_ID; id <= LAST_VLAN_ID; ++id) _policy->teller.tell(id);
  return XrlCmdError::OKAY();
}

XrlCmdError VlanTarget::finder_event_observer_0_1_xrl_target_death(
    std::string_view /*target_class*/, std::string_view target_instance) {
  if (_policy != nullptr && _policy->instance == target_instance) _policy.reset();
  return XrlCmdError::OKAY();
}

XrlCmdError VlanTarget::vlan_0_1_get_vlans(XrlAtomList& vlans) {
  for (const std::uint32_t id : _model.vlans()) vlans.append(id);
  return XrlCmdError::OKAY();
}

void VlanTarget::vlan_changed(std::uint32_t vlan_id) {
  if (_policy != nullptr) _policy->teller.tell(vlan_id);
}

std::unique_ptr<VlanTarget::Policy> VlanTarget::make_policy(std::string_view instance) {
  const std::string name(instance);
  const auto send = [this, name](std::uint32_t vlan_id, const Teller::Done& done) {
    return tell_event(name, vlan_id, done);
  };
  // An aggregate, of which make_unique needs a newer compiler.
  return std::unique_ptr<Policy>(  // NOLINT(modernize-make-unique)
      new Policy{name, Teller(_loop, send)});
}

bool VlanTarget::tell_event(const std::string& policy, std::uint32_t vlan_id,
                            const Teller::Done& done) {
  const std::uint32_t event = _model.vlans().contains(vlan_id) ? VLAN_CREATED : VLAN_DELETED;
  return XrlVlanObserverV0p1Client(router().sender()).send_vlan_event(policy, event, vlan_id, done);
}
