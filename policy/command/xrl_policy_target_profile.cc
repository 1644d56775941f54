// The commands on the profiling variables.
#include "framework/xrl/router/profile_transmitter.h"
#include "policy/command/xrl_policy_target.h"

namespace {

// Runs `action` on the registry; its exception is the refusal.
template <typename Action>
XrlCmdError unless_refused(Action action) {
  try {
    action();
  } catch (const PVariableUnknown& unknown) {
    return XrlCmdError::COMMAND_FAILED(unknown.str());
  } catch (const PVariableLocked& locked) {
    return XrlCmdError::COMMAND_FAILED(locked.str());
  }
  return XrlCmdError::OKAY();
}

}  // namespace

XrlCmdError XrlPolicyTarget::profile_0_1_enable(std::string_view pname) {
  return unless_refused([&] { _profile.enable(std::string(pname)); });
}

// A variable can be disabled while its log is locked.
XrlCmdError XrlPolicyTarget::profile_0_1_disable(std::string_view pname) {
  try {
    _profile.disable(std::string(pname));
  } catch (const PVariableUnknown& unknown) {
    return XrlCmdError::COMMAND_FAILED(unknown.str());
  }
  return XrlCmdError::OKAY();
}

XrlCmdError XrlPolicyTarget::profile_0_1_get_entries(std::string_view pname,
                                                     std::string_view instance_name) {
  return unless_refused([&] {
    const std::string name(pname);
    const std::string instance(instance_name);
    _profile.lock_log(name);
    ProfileTransmitter::transmit_log(name, _router, instance, &_profile);
  });
}

XrlCmdError XrlPolicyTarget::profile_0_1_clear(std::string_view pname) {
  return unless_refused([&] { _profile.clear(std::string(pname)); });
}

XrlCmdError XrlPolicyTarget::profile_0_1_list(std::string& info) {
  info = _profile.list();
  return XrlCmdError::OKAY();
}
