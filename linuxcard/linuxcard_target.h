// LinuxcardTarget: the target "linuxcard", which tells how the kernel obeys the policy, and
// hears of policyd's births and deaths.
#pragma once

#include <vector>

#include "framework/base/event_loop.h"
#include "linuxcard/configuration.h"
#include "linuxcard/data_path_runner.h"
#include "linuxcard/interfaces/linuxcard_tgt.h"
#include "platform/class_watch.h"
#include "platform/managers/switch_target.h"

class PolicyFollower;

class LinuxcardTarget : public SwitchTarget, public CommonHandlers<XrlLinuxcardTargetBase> {
 public:
  // Counters are brought up to date so often.
  static constexpr std::chrono::seconds COUNT_INTERVAL{1};

  // All must outlive it.
  LinuxcardTarget(EventLoop& loop, const Configuration& configuration, DataPathRunner& data_path,
                  const SwitchProcess& process);

  // Who is told of policyd, and who knows of the policy; from here on.
  void set_follower(PolicyFollower& follower);
  [[nodiscard]] XrlSender& sender() { return router(); }
  // Somebody asked the process to leave.
  [[nodiscard]] bool shutdown_requested() const { return _shutdown_requested; }

  XrlCmdError common_0_1_get_status(std::uint32_t& status, std::string& reason) override;
  XrlCmdError common_0_1_shutdown() override;
  XrlCmdError finder_event_observer_0_1_xrl_target_birth(std::string_view target_class,
                                                         std::string_view instance) override;
  XrlCmdError finder_event_observer_0_1_xrl_target_death(std::string_view target_class,
                                                         std::string_view instance) override;
  XrlCmdError linuxcard_0_1_get_ports(XrlAtomList& names, XrlAtomList& links, XrlAtomList& states,
                                      XrlAtomList& reasons) override;
  XrlCmdError linuxcard_0_1_get_failing_vlans(XrlAtomList& vlans, XrlAtomList& reasons) override;
  XrlCmdError linuxcard_0_1_get_policy(std::string& state, std::string& policy,
                                       std::uint64_t& serial, std::string& problem,
                                       std::uint64_t& lists, std::uint64_t& microseconds,
                                       std::uint64_t& memory) override;
  XrlCmdError linuxcard_0_1_get_not_honoured(XrlAtomList& settings, XrlAtomList& reasons) override;
  XrlCmdError acl_counters_0_1_get_rule_counters(XrlAtomList& acls, XrlAtomList& rules,
                                                 XrlAtomList& packets, XrlAtomList& bytes) override;

 private:
  void count();
  void append_port(const std::string& name, const std::string& link, XrlAtomList& states,
                   XrlAtomList& reasons) const;

  const Configuration& _configuration;
  DataPathRunner& _data_path;
  PolicyFollower* _follower = nullptr;
  bool _shutdown_requested = false;
  std::vector<RuleCounters> _counters;
  bool _counting = false;
  Timer _count;
  ClassWatch _watch;
  Lifeline _lifeline;
};
