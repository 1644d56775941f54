#include "linuxcard/linuxcard_target.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "common/well_known_names.h"
#include "linuxcard/follow/policy_follower.h"

namespace {

// The rule in front of the reason.
std::string reason_of(const PolicyRefusal& refusal) {
  if (!refusal.rule) return refusal.reason;
  return "acl " + std::to_string(refusal.rule->acl) + " rule " +
         std::to_string(refusal.rule->rule) + ": " + refusal.reason;
}

struct NotHonoured {
  std::string_view setting;
  std::string_view reason;
};

constexpr std::array NOT_HONOURED{
    NotHonoured{"schedule mode", "the queueing discipline of a port stays as the operator set it."},
    NotHonoured{"schedule algorithm",
                "the queueing discipline of a port stays as the operator set it."},
    NotHonoured{"dscp queues", "policyd does not tell what was set of them."},
    NotHonoured{"class-of-service flag", "Linux has no counterpart."},
    NotHonoured{"port value", "Linux has no counterpart."},
    NotHonoured{"two-bit remarks", "Linux has no counterpart; a list with one is refused."},
};

}  // namespace

LinuxcardTarget::LinuxcardTarget(EventLoop& loop, const Configuration& configuration,
                                 DataPathRunner& data_path, const SwitchProcess& process)
    : SwitchTarget(loop, process.name, process),
      CommonHandlers<XrlLinuxcardTargetBase>(&router(), process),
      _configuration(configuration),
      _data_path(data_path),
      _count(loop, [this] { count(); }),
      _watch(loop, *router().sender(), router().instance_name(),
             std::string(well_known_names[NAME_POLICY])) {
  _count.schedule_after(COUNT_INTERVAL);
}

void LinuxcardTarget::set_follower(PolicyFollower& follower) {
  _follower = &follower;
}

void LinuxcardTarget::count() {
  _count.schedule_after(COUNT_INTERVAL);
  if (_counting) return;
  _counting = true;
  _data_path.count([this, token = _lifeline.token()](const std::vector<RuleCounters>& counters) {
    if (!token->alive) return;
    _counting = false;
    _counters = counters;
  });
}

XrlCmdError LinuxcardTarget::common_0_1_get_status(std::uint32_t& status, std::string& reason) {
  if (!_shutdown_requested) {
    return CommonHandlers<XrlLinuxcardTargetBase>::common_0_1_get_status(status, reason);
  }
  status = TARGET_SHUTTING_DOWN;
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::common_0_1_shutdown() {
  _shutdown_requested = true;
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::finder_event_observer_0_1_xrl_target_birth(
    std::string_view target_class, std::string_view instance) {
  if (target_class == well_known_names[NAME_POLICY] && _follower != nullptr) {
    _follower->policy_born(instance);
  }
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::finder_event_observer_0_1_xrl_target_death(
    std::string_view target_class, std::string_view instance) {
  if (target_class == well_known_names[NAME_POLICY] && _follower != nullptr) {
    _follower->policy_died(instance);
  }
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::linuxcard_0_1_get_ports(XrlAtomList& names, XrlAtomList& links,
                                                     XrlAtomList& states, XrlAtomList& reasons) {
  auto all = _configuration.ports;
  all.insert(_configuration.aggregates.begin(), _configuration.aggregates.end());
  for (const auto& [name, link] : all) {
    names.append(name);
    links.append(link);
    append_port(name, link, states, reasons);
  }
  return XrlCmdError::OKAY();
}

void LinuxcardTarget::append_port(const std::string& name, const std::string& link,
                                  XrlAtomList& states, XrlAtomList& reasons) const {
  const auto& ports = _follower->kernel().ports;
  const auto port = std::find_if(ports.begin(), ports.end(), [&](const KernelPort& candidate) {
    return candidate.name == name;
  });
  const auto& outcome = _follower->outcome();
  const auto& refusals = outcome.report.refusals;
  const auto refusal = std::find_if(refusals.begin(), refusals.end(),
                                    [&](const auto& candidate) { return candidate.port == name; });
  if (port == ports.end()) {
    states.append("no link");
    reasons.append("Linux has no link " + link + ".");
  } else if (!outcome.problem.empty() || refusal != refusals.end()) {
    states.append("failing");
    reasons.append(outcome.problem.empty() ? reason_of(*refusal) : outcome.problem);
  } else {
    states.append(port->carrier ? "ready" : "no carrier");
    reasons.append("");
  }
}

XrlCmdError LinuxcardTarget::linuxcard_0_1_get_failing_vlans(XrlAtomList& vlans,
                                                             XrlAtomList& reasons) {
  for (const PolicyRefusal& refusal : _follower->outcome().report.refusals) {
    if (!refusal.port.empty()) continue;
    vlans.append(std::uint32_t{refusal.vlan});
    reasons.append(reason_of(refusal));
  }
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::linuxcard_0_1_get_policy(std::string& state, std::string& policy,
                                                      std::uint64_t& serial, std::string& problem,
                                                      std::uint64_t& lists,
                                                      std::uint64_t& microseconds,
                                                      std::uint64_t& memory) {
  switch (_follower->state()) {
    case PolicyFollower::State::FOLLOWING:
      state = "following";
      break;
    case PolicyFollower::State::HOLDING:
      state = "holding";
      break;
    case PolicyFollower::State::WAITING:
      state = "waiting";
      break;
  }
  const auto& outcome = _follower->outcome();
  policy = _follower->instance_in_force();
  serial = _follower->serial_in_force();
  problem = outcome.problem;
  lists = outcome.report.lists_built;
  memory = outcome.report.memory_bytes;
  microseconds = static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(_follower->last_change_took()).count());
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::linuxcard_0_1_get_not_honoured(XrlAtomList& settings,
                                                            XrlAtomList& reasons) {
  for (const NotHonoured& entry : NOT_HONOURED) {
    settings.append(entry.setting);
    reasons.append(entry.reason);
  }
  return XrlCmdError::OKAY();
}

XrlCmdError LinuxcardTarget::acl_counters_0_1_get_rule_counters(XrlAtomList& acls,
                                                                XrlAtomList& rules,
                                                                XrlAtomList& packets,
                                                                XrlAtomList& bytes) {
  for (const RuleCounters& counters : _counters) {
    acls.append(counters.key.acl);
    rules.append(counters.key.rule);
    packets.append(XrlAtom::unnamed(counters.packets));
    bytes.append(XrlAtom::unnamed(counters.bytes));
  }
  return XrlCmdError::OKAY();
}
